#include <algorithm>
#include <sstream>

#include "host/text.h"
#include "tsport/output.h"
#include "tsport/report/report.h"

namespace tsport::report {

namespace {

std::string or_unknown(const std::string& text) {
    return text.empty() ? "?" : text;
}

std::string waited(std::uint64_t milliseconds) {
    return milliseconds == 0 ? "-" : duration_text(milliseconds);
}

// "Office (192.168.1.20)", or what is known of it.
std::string place_of(const std::string& port, const std::string& address) {
    if (port.empty() || address.empty()) return or_unknown(port.empty() ? address : port);
    return port + " (" + address + ")";
}

std::vector<std::string> cells_of(const Document& document, const Texts& texts) {
    const auto time = [&](std::uint32_t value) { return document.detailed ? duration_text(value) : std::string("?"); };
    std::string outcome = info_of(document.outcome).text;
    const std::string cause = cause_text(document, texts);
    if (document.tried_again || document.attempt > 1) {
        outcome = "attempt " + std::to_string(document.attempt) + ": " + outcome;
    }
    if (!cause.empty()) outcome.append(": ").append(cause);
    return {to_text(document.start),
            or_unknown(texts[document.printer]),
            document.has_job ? std::to_string(document.job) : "?",
            place_of(texts[document.port], texts[document.address]),
            document.detailed ? std::to_string(document.writes) : "?",
            document.detailed ? host::size_to_text(document.taken) : "?",
            time(document.start_ms),
            time(document.write_ms),
            time(document.end_ms),
            waited(document.held_ms),
            outcome};
}

void write_head(std::ostream& out, const Report& report) {
    out << counted(report.files.size(), "file") << ", " << counted(report.lines, "line") << ", "
        << host::size_to_text(report.bytes);
    if (report.first) out << ", from " << to_text(*report.first) << " to " << to_text(*report.last);
    out << "\n";
    if (!report.covers.empty()) out << "Only " << report.covers << ".\n";
    for (const std::string& note : report.notes) out << note << "\n";
    out << "\n";
}

// The last ones.
void write_documents(std::ostream& out, const Report& report, std::size_t most, size_t width) {
    DocumentList documents = report.documents.in_order();
    if (documents.empty()) {
        out << "no documents\n\n";
        return;
    }
    const std::size_t more = documents.size() > most ? documents.size() - most : 0;
    if (more != 0) documents.erase(documents.begin(), documents.begin() + static_cast<std::ptrdiff_t>(more));
    Rows rows = {
        {"STARTED", "PRINTER", "JOB", "PORT", "WRITES", "BYTES", "START", "WRITING", "END", "HELD", "OUTCOME"}};
    for (const Document* const document : documents) rows.push_back(cells_of(*document, report.texts));
    out << in_columns(rows, width, {4, 7, 6, 8, 3, 5, 9, 1});
    if (more + report.documents.left_out() != 0) {
        out << "(" << grouped(more + report.documents.left_out())
            << " earlier ones count in the sums; --rows N shows more)\n";
    }
    out << "\n";
}

void write_printers(std::ostream& out, const Report& report, size_t width) {
    Rows rows = {
        {"PRINTER", "DOCUMENTS", "PRINTED", "LATE", "FAILED", "BYTES", "START", "95 %", "THROUGHPUT", "95 %", "HELD"}};
    const auto rate = [](const Quantiles& values, std::uint64_t value) {
        return values.count() == 0 ? std::string("-") : host::size_to_text(value) + "/s";
    };
    for (const PrinterSums* const sums : report.sums.printers()) {
        rows.push_back({sums->name, std::to_string(sums->documents), std::to_string(sums->of(Outcome::printed)),
                        std::to_string(sums->of(Outcome::late)), std::to_string(sums->failed()),
                        host::size_to_text(sums->taken), duration_text(sums->connect.median()),
                        duration_text(sums->connect.p95()), rate(sums->throughput, sums->throughput.median()),
                        rate(sums->throughput, sums->throughput.p95()), waited(sums->held_ms)});
    }
    if (rows.size() > 1) out << in_columns(rows, width, {9, 7, 10, 8, 6, 5}) << "\n";
}

void write_causes(std::ostream& out, const Report& report) {
    const Totals& all = report.sums.all();
    const std::vector<Cause> causes = all.ranked_causes();
    if (causes.empty()) return;
    out << "CAUSES\n";
    for (const Cause cause : causes) {
        const Info& info = info_of(cause);
        const std::uint64_t attempts = all.attempts_of(cause);
        out << "  " << grouped(all.of(cause)) << " x " << info.text;
        if (attempts != all.of(cause)) out << ", " << counted(attempts, "attempt");
        out << " [" << info.id << "]\n      " << report.sums.remedy(cause) << "\n";
    }
    out << "\n";
}

void write_rest(std::ostream& out, const Report& report) {
    const std::vector<Finding> findings = report.sums.findings();
    if (!findings.empty()) out << "WHAT STANDS OUT\n";
    for (const Finding& finding : findings) {
        out << "  " << finding.printer << ": " << finding.text << " [" << finding.id << "]\n";
    }
    if (!findings.empty()) out << "\n";
    const auto errors = other_errors_of(report);
    if (!errors.empty()) out << "OTHER ERRORS\n";
    for (const OtherErrors::Error& error : errors) {
        out << "  " << grouped(error.count) << " x " << error.text;
        if (error.cause) out << " [" << info_of(*error.cause).id << "]\n      " << info_of(*error.cause).remedy;
        out << "\n";
    }
    if (!errors.empty()) out << with_pages("LOG.html explains each of them.\n\n");
}

}  // namespace

void write_text(const Report& report, const Options& options, const Sink& sink) {
    std::ostringstream out;
    write_head(out, report);
    write_documents(out, report, options.rows, options.width);
    write_printers(out, report, options.width);
    write_causes(out, report);
    write_rest(out, report);
    const Totals& all = report.sums.all();
    out << counted(all.documents, "document");
    if (all.attempts != all.documents) out << " in " << counted(all.attempts, "attempt");
    out << ", " << host::size_to_text(all.taken) << ": " << grouped(all.printed()) << " printed, "
        << grouped(all.failed()) << " not, ";
    if (all.of(Outcome::under_way) != 0) out << grouped(all.of(Outcome::under_way)) << " under way, ";
    out << grouped(all.of(Outcome::unknown)) << " with their end unknown\n";
    sink(out.str());
}

}  // namespace tsport::report
