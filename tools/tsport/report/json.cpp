#include "tools/tsport/report/writer.h"

namespace tsport::report {
namespace {

// A text of the report: UTF-8 without controls.
struct Quoted {
    std::string_view text;
};

Writer& operator<<(Writer& out, Quoted quoted) {
    out << "\"";
    for (const char& character : quoted.text) {
        if (character == '"' || character == '\\') out << "\\";
        out << std::string_view(&character, 1);
    }
    return out << "\"";
}

void put_counts(Writer& out, const Totals& totals) {
    out << "\"documents\": " << totals.documents << ", \"failed\": " << totals.failed()
        << ", \"bytes\": " << totals.taken << ", \"sent\": " << totals.sent << ", \"held_ms\": " << totals.held_ms
        << ", \"close_ms\": " << totals.close_ms << ", \"outcomes\": {";
    for (size_t i = 0; i < outcomes; ++i) {
        out << (i == 0 ? "" : ", ") << Quoted{text_of(static_cast<Outcome>(i)).id} << ": " << totals.by_outcome[i];
    }
    out << "}, \"causes\": {";
    bool first = true;
    for (size_t i = 0; i < troubles; ++i) {
        if (totals.by_cause[i] == 0) continue;
        out << (first ? "" : ", ") << Quoted{text_of(static_cast<Trouble>(i)).id} << ": " << totals.by_cause[i];
        first = false;
    }
    out << "}";
}

void put_quantiles(Writer& out, const char* name, const Quantiles& values) {
    out << ", \"" << name << "\": {\"count\": " << values.count() << ", \"median\": " << values.median()
        << ", \"p95\": " << values.p95() << "}";
}

void put_document(Writer& out, const Document& document, const Texts& texts) {
    out << "{\"start\": " << Quoted{stamp_in_words(document.start)}
        << ", \"start_known\": " << (document.started || !document.detailed ? "true" : "false")
        << ", \"printer\": " << Quoted{texts[document.printer]} << ", \"job\": ";
    if (document.has_job) {
        out << document.job;
    } else {
        out << "null";
    }
    out << ", \"port\": " << Quoted{texts[document.port]} << ", \"address\": " << Quoted{texts[document.address]}
        << ", \"writes\": " << document.writes << ", \"bytes\": " << document.taken << ", \"sent\": " << document.sent
        << ", \"start_ms\": " << document.start_ms << ", \"connect_ms\": " << document.connect_ms
        << ", \"write_ms\": " << document.write_ms << ", \"end_ms\": " << document.end_ms
        << ", \"close_ms\": " << document.close_ms << ", \"total_ms\": " << document.total_ms
        << ", \"held_ms\": " << document.held_ms << ", \"held_for\": " << Quoted{texts[document.held_for]}
        << ", \"attempt\": " << document.attempt << ", \"rewritten\": " << (document.rewritten ? "true" : "false")
        << ", \"thread\": " << document.thread << ", \"detailed\": " << (document.detailed ? "true" : "false")
        << ", \"outcome\": " << Quoted{text_of(document.outcome).id} << ", \"cause\": ";
    const size_t cause = document.cause();
    if (cause == troubles) {
        out << "null";
    } else {
        out << Quoted{text_of(static_cast<Trouble>(cause)).id};
    }
    out << ", \"words\": " << Quoted{cause_in_words(document, texts)} << ", \"also\": [";
    bool first = true;
    for (size_t i = cause + 1; i < troubles; ++i) {
        if (!document.has(static_cast<Trouble>(i))) continue;
        out << (first ? "" : ", ") << Quoted{text_of(static_cast<Trouble>(i)).id};
        first = false;
    }
    out << "]}";
}

}  // namespace

void write_json(const Report& report, const Sink& sink) {
    Writer out(sink);
    out << "{\"files\": [";
    for (size_t i = 0; i < report.files.size(); ++i) out << (i == 0 ? "" : ", ") << Quoted{showable(report.files[i])};
    out << "], \"lines\": " << report.lines << ", \"log_bytes\": " << report.bytes
        << ", \"cut_lines\": " << report.cut_lines << ", \"foreign_lines\": " << report.foreign_lines
        << ", \"detailed_lines\": " << report.detailed_lines << ", \"first\": " << Quoted{report.first}
        << ", \"last\": " << Quoted{report.last} << ",\n";
    put_counts(out, report.sums.all());
    out << ",\n\"stands_out\": [";
    const char* before = "";
    for (const Finding& finding : report.sums.findings()) {
        out << before << "{\"id\": " << Quoted{finding.id} << ", \"printer\": " << Quoted{finding.printer}
            << ", \"words\": " << Quoted{finding.words} << "}";
        before = ", ";
    }
    out << "],\n\"other_errors\": [";
    before = "";
    for (const OtherErrors::Error& error : report.other_errors.in_order()) {
        out << before << "{\"text\": " << Quoted{error.text} << ", \"count\": " << error.count << "}";
        before = ", ";
    }
    out << "],\n\"printers\": [";
    before = "\n";
    for (const PrinterSums* const sums : report.sums.printers()) {
        out << before << "{\"printer\": " << Quoted{sums->name} << ", ";
        put_counts(out, *sums);
        put_quantiles(out, "connect_ms", sums->connect);
        put_quantiles(out, "bytes_per_second", sums->throughput);
        out << ", \"restarted_often\": " << sums->restarted_often << "}";
        before = ",\n";
    }
    out << "],\n\"left_out\": " << report.documents.left_out() << ",\n\"list\": [";
    before = "\n";
    for (const Document* const document : report.documents.in_order()) {
        out << before;
        put_document(out, *document, report.texts);
        before = ",\n";
    }
    out << "]}\n";
}

}  // namespace tsport::report
