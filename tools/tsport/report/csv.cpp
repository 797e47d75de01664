#include "tools/tsport/report/writer.h"

namespace tsport::report {
namespace {

// A cell that no spreadsheet interprets as a formula, whatever a printer's name begins with.
struct Cell {
    std::string_view text;
};

Writer& operator<<(Writer& out, Cell cell) {
    constexpr std::string_view starts_formula = "=+-@";
    const bool formula = !cell.text.empty() && starts_formula.find(cell.text.front()) != std::string_view::npos;
    out << (formula ? "\"'" : "\"");
    for (const char& character : cell.text) {
        if (character == '"') out << "\"";
        out << std::string_view(&character, 1);
    }
    return out << "\"";
}

}  // namespace

void write_csv(const Report& report, const Sink& sink) {
    Writer out(sink);
    const Texts& texts = report.texts;
    out << "start,printer,job,port,address,writes,bytes,sent,start_ms,connect_ms,write_ms,end_ms,close_ms,total_ms,"
           "held_ms,held_for,attempt,outcome,cause,words\r\n";
    for (const Document* const document : report.documents.in_order()) {
        const size_t cause = document->cause();
        out << Cell{stamp_in_words(document->start)} << "," << Cell{texts[document->printer]} << ","
            << (document->has_job ? std::to_string(document->job) : std::string()) << "," << Cell{texts[document->port]}
            << "," << Cell{texts[document->address]} << "," << document->writes << "," << document->taken << ","
            << document->sent << "," << document->start_ms << "," << document->connect_ms << "," << document->write_ms
            << "," << document->end_ms << "," << document->close_ms << "," << document->total_ms << ","
            << document->held_ms << "," << Cell{texts[document->held_for]} << "," << document->attempt << ","
            << text_of(document->outcome).id << ","
            << (cause == troubles ? "" : text_of(static_cast<Trouble>(cause)).id) << ","
            << Cell{cause_in_words(*document, texts)} << "\r\n";
    }
}

}  // namespace tsport::report
