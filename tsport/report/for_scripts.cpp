// For scripts: JSON, and CSV of the documents.
#include <algorithm>
#include <sstream>

#include "tsport/json.h"
#include "tsport/report/report.h"

namespace tsport::report {
namespace {

void write_totals(JsonWriter& json, const Totals& totals) {
    json.member("documents", totals.documents);
    json.member("attempts", totals.attempts);
    json.member("failed", totals.failed());
    json.member("bytes", totals.taken);
    json.member("sent", totals.sent);
    json.member("held_ms", totals.held_ms);
    json.member("close_ms", totals.close_ms);
    json.object("outcomes", [&] {
        for (size_t i = 0; i < outcome_count; ++i) {
            json.member(info_of(static_cast<Outcome>(i)).id, totals.by_outcome[i]);
        }
    });
    json.object("causes", [&] {
        for (size_t i = 0; i < cause_count; ++i) {
            if (totals.by_cause[i] != 0) json.member(info_of(static_cast<Cause>(i)).id, totals.by_cause[i]);
        }
    });
}

void write_quantiles(JsonWriter& json, const char* name, const Quantiles& values) {
    json.object(name, [&] {
        json.member("count", values.count());
        json.member("median", values.median());
        json.member("p95", values.p95());
    });
}

void write_printer(JsonWriter& json, const PrinterSums& sums) {
    json.member("printer", sums.name);
    write_totals(json, sums);
    write_quantiles(json, "connect_ms", sums.connect);
    write_quantiles(json, "bytes_per_second", sums.throughput);
    json.member("restarted_often", sums.restarted_often);
}

// In the order of the columns of CSV.
std::vector<std::pair<const char*, std::uint64_t>> figures_of(const Document& document) {
    return {{"writes", document.writes},     {"bytes", document.taken},           {"sent", document.sent},
            {"start_ms", document.start_ms}, {"connect_ms", document.connect_ms}, {"write_ms", document.write_ms},
            {"end_ms", document.end_ms},     {"close_ms", document.close_ms},     {"total_ms", document.total_ms},
            {"held_ms", document.held_ms}};
}

void write_document(JsonWriter& json, const Document& document, const Texts& texts) {
    const auto cause = document.cause();
    json.member("start", to_text(document.start));
    json.member("start_known", document.started || !document.detailed);
    json.member("printer", texts[document.printer]);
    json.member("job", document.has_job ? std::optional(document.job) : std::nullopt);
    json.member("port", texts[document.port]);
    json.member("address", texts[document.address]);
    for (const auto& [name, figure] : figures_of(document)) json.member(name, figure);
    json.member("held_for", texts[document.held_for]);
    json.member("attempt", document.attempt);
    json.member("last_attempt", !document.tried_again);
    json.member("still_ms", document.still_ms);
    json.member("rewritten", document.rewritten);
    json.member("thread", document.thread);
    json.member("detailed", document.detailed);
    json.member("outcome", info_of(document.outcome).id);
    json.member("cause", cause ? std::optional(info_of(*cause).id) : std::nullopt);
    json.member("message", cause_text(document, texts));
    json.array("also", [&] {
        for (size_t i = 0; i < cause_count; ++i) {
            const auto other = static_cast<Cause>(i);
            if (document.has(other) && other != cause) json.value(info_of(other).id);
        }
    });
}

// Everything but the documents one by one.
void write_summary(JsonWriter& json, const Report& report) {
    const Totals& all = report.sums.all();
    json.member("version", std::uint64_t{1});
    json.array("files", report.files, [&](const std::string& file) { json.value(sanitize(file)); });
    json.member("lines", report.lines);
    json.member("log_bytes", report.bytes);
    json.member("cut_lines", report.cut_lines);
    json.member("foreign_lines", report.foreign_lines);
    json.member("detailed_lines", report.detailed_lines);
    json.member("first", report.first ? to_text(*report.first) : "");
    json.member("last", report.last ? to_text(*report.last) : "");
    json.member("seen", report.last ? to_text(report.seen) : "");
    json.member("only", report.covers);
    json.array("notes", report.notes, [&](const std::string& note) { json.value(note); });
    json.break_line();
    write_totals(json, all);
    json.break_line();
    json.objects("stands_out", report.sums.findings(), [&](const Finding& finding) {
        json.member("id", finding.id);
        json.member("printer", finding.printer);
        json.member("message", finding.text);
    });
    json.break_line();
    json.objects("other_errors", other_errors_of(report), [&](const OtherErrors::Error& error) {
        json.member("text", error.text);
        json.member("count", error.count);
        json.member("cause", error.cause ? std::optional(info_of(*error.cause).id) : std::nullopt);
        json.member("remedy", error.cause ? std::optional(info_of(*error.cause).remedy) : std::nullopt);
    });
    json.break_line();
    json.array("printers", report.sums.printers(), [&](const PrinterSums* sums) {
        json.break_line();
        json.object([&] { write_printer(json, *sums); });
    });
    json.break_line();
    json.object("outcome_texts", [&] {
        for (size_t i = 0; i < outcome_count; ++i) {
            const Info& outcome = info_of(static_cast<Outcome>(i));
            json.member(outcome.id, outcome.text);
        }
    });
    json.break_line();
    json.object("attempts_by_cause", [&] {
        for (const Cause cause : all.ranked_causes()) json.member(info_of(cause).id, all.attempts_of(cause));
    });
    json.break_line();
    json.object("cause_texts", [&] {
        for (const Cause cause : all.ranked_causes()) {
            json.object(info_of(cause).id, [&] {
                json.member("text", info_of(cause).text);
                json.member("remedy", report.sums.remedy(cause));
            });
        }
    });
    json.break_line();
}

// Whether a spreadsheet takes a cell that begins so for a formula.
bool begins_formula(std::string_view text) {
    constexpr std::string_view signs[] = {"=", "+", "-", "@", "\uFF1D", "\uFF0B", "\uFF0D", "\uFF20"};  // and wide ones
    return std::any_of(std::begin(signs), std::end(signs),
                       [&](std::string_view sign) { return text.starts_with(sign); });
}

// A cell in which no spreadsheet finds a formula, whatever separator it goes by.
std::string cell(std::string_view text) {
    constexpr std::string_view separators = ",;|\t";
    std::string quoted = "\"";
    bool is_begin = true;
    for (size_t i = 0; i < text.size(); ++i) {
        if (is_begin && begins_formula(text.substr(i))) quoted += '\'';
        is_begin = separators.find(text[i]) != std::string_view::npos || (is_begin && text[i] == ' ');
        quoted.append(text[i] == '"' ? 2 : 1, text[i]);
    }
    return quoted + "\"";
}

}  // namespace

void write_json(const Report& report, const DocumentList& documents, const Sink& sink) {
    {
        JsonWriter json(sink);
        json.object([&] {
            write_summary(json, report);
            json.member("left_out", report.sums.all().attempts - documents.size());
            json.break_line();
            json.array("list", documents, [&](const Document* document) {
                json.break_line();
                json.object([&] { write_document(json, *document, report.texts); });
            });
        });
    }
    sink("\n");
}

void write_json(const Report& report, const Sink& sink) {
    write_json(report, report.documents.in_order(), sink);
}

void write_csv(const Report& report, const Sink& sink) {
    const Texts& texts = report.texts;
    std::ostringstream out;
    out << "\uFEFFstart,printer,job,port,address";  // with the mark by which spreadsheets know UTF-8
    for (const auto& [name, figure] : figures_of({})) out << "," << name;
    out << ",held_for,attempt,last_attempt,outcome,cause,message\r\n";
    for (const Document* const document : report.documents.in_order()) {
        const auto cause = document->cause();
        out << cell(to_text(document->start)) << "," << cell(texts[document->printer]) << ","
            << (document->has_job ? std::to_string(document->job) : "") << "," << cell(texts[document->port]) << ","
            << cell(texts[document->address]);
        for (const auto& [name, figure] : figures_of(*document)) out << "," << figure;
        out << "," << cell(texts[document->held_for]) << "," << document->attempt << ","
            << (document->tried_again ? "no" : "yes") << "," << info_of(document->outcome).id << ","
            << (cause ? info_of(*cause).id : "") << "," << cell(cause_text(*document, texts)) << "\r\n";
        sink(out.str());
        out.str({});
    }
    sink(out.str());
}

void write_ndjson(const Report& report, const Sink& sink) {
    const Texts& texts = report.texts;
    for (const Document* const document : report.documents.in_order()) {
        std::string start = to_text(document->start);
        start[10] = 'T';
        sink(json_line([&](JsonWriter& json) {
            json.member("@timestamp", start);
            json.member("event.dataset", "tsport.attempt");
            json.member("event.outcome", document->is_open()    ? "unknown"
                                         : document->came_out() ? "success"
                                                                : "failure");
            json.member("event.duration", std::uint64_t{document->total_ms} * 1'000'000);
            json.member("event.reason", cause_text(*document, texts));
            json.member("destination.address", texts[document->address]);
            json.member("process.thread.id", document->thread);
            json.member("tsport.printer", texts[document->printer]);
            json.member("tsport.port", texts[document->port]);
            json.member("tsport.job", document->has_job ? std::optional(document->job) : std::nullopt);
            json.member("tsport.attempt", std::uint32_t{document->attempt});
            json.member("tsport.last_attempt", !document->tried_again);
            json.member("tsport.outcome", info_of(document->outcome).id);
            if (const auto cause = document->cause()) json.member("tsport.cause", info_of(*cause).id);
            for (const auto& [name, figure] : figures_of(*document)) json.member("tsport." + std::string(name), figure);
        }));
    }
}

}  // namespace tsport::report
