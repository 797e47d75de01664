#include <sstream>

#include "tsport/report/report.h"

namespace tsport::report {
namespace {

// A cell that no spreadsheet interprets as a formula, whatever a printer's name begins with.
std::string cell(std::string_view text) {
    const bool formula = !text.empty() && std::string_view("=+-@").find(text.front()) != std::string_view::npos;
    std::string quoted = formula ? "\"'" : "\"";
    for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
    return quoted + "\"";
}

}  // namespace

void write_csv(const Report& report, const Sink& sink) {
    const Texts& texts = report.texts;
    sink(
        "start,printer,job,port,address,writes,bytes,sent,start_ms,connect_ms,write_ms,end_ms,close_ms,total_ms,"
        "held_ms,held_for,attempt,outcome,cause,words\r\n");
    for (const Document* const document : report.documents.in_order()) {
        const auto cause = document->cause();
        std::ostringstream out;
        out << cell(to_text(document->start)) << "," << cell(texts[document->printer]) << ","
            << (document->has_job ? std::to_string(document->job) : "") << "," << cell(texts[document->port]) << ","
            << cell(texts[document->address]) << "," << document->writes << "," << document->taken << ","
            << document->sent << "," << document->start_ms << "," << document->connect_ms << "," << document->write_ms
            << "," << document->end_ms << "," << document->close_ms << "," << document->total_ms << ","
            << document->held_ms << "," << cell(texts[document->held_for]) << "," << document->attempt << ","
            << info_of(document->outcome).id << "," << (cause ? info_of(*cause).id : "") << ","
            << cell(cause_text(*document, texts)) << "\r\n";
        sink(out.str());
    }
}

}  // namespace tsport::report
