#include "tools/tsport/report/html.h"

#include <algorithm>
#include <array>
#include <map>

#include "tools/host/text.h"

namespace tsport::report {
namespace html {

Writer& operator<<(Writer& out, Shown shown) {
    for (const char& character : shown.text) {
        switch (character) {
            case '&':
                out << "&amp;";
                break;
            case '<':
                out << "&lt;";
                break;
            case '>':
                out << "&gt;";
                break;
            case '"':
                out << "&quot;";
                break;
            case '\'':
                out << "&#39;";
                break;
            default:
                out << std::string_view(&character, 1);
        }
    }
    return out;
}

Look look_of(const Document& document) {
    switch (document.outcome) {
        case Outcome::printed:
            return Look::printed;
        case Outcome::late:
            return Look::late;
        case Outcome::refused:
        case Outcome::dropped:
            return Look::kept_back;
        case Outcome::unknown:
            return Look::unknown;
        default:
            return Look::failed;
    }
}

const char* class_of(Look look) {
    constexpr std::array classes = {"p", "l", "f", "k", "u"};
    return classes[static_cast<size_t>(look)];
}

namespace {

constexpr size_t most_rows = 10'000;

// The documents that the page lists. When not all fit, printed ones are left out first.
Documents chosen(const Report& report) {
    Documents all = report.documents.in_order();
    if (all.size() <= most_rows) return all;
    const auto is_good = [](const Document* document) { return document->outcome == Outcome::printed; };
    std::uint64_t too_many = all.size() - most_rows;
    for (const bool good : {true, false}) {
        std::erase_if(all, [&](const Document* document) {
            if (too_many == 0 || is_good(document) != good) return false;
            --too_many;
            return true;
        });
    }
    return all;
}

// -- Tables ----------------------------------------------------------------------------------------------------------

struct Column {
    const char* name;
    bool number;
};

// Their headers sort; the first one says how the table is sorted as it comes.
void put_header(Writer& out, std::initializer_list<Column> columns) {
    out << "<thead><tr>";
    for (const Column& column : columns) {
        out << "<th scope=\"col\"" << (column.number ? " class=\"n\"" : "") << "><button type=\"button\">"
            << column.name << "</button></th>";
    }
    out << "</tr></thead>\n<tbody>\n";
}

// A cell that sorts by its number.
void put_number(Writer& out, std::uint64_t value, std::string_view words) {
    out << "<td class=\"n\" data-v=\"" << value << "\">" << words << "</td>";
}
void put_time(Writer& out, std::uint64_t value) {
    put_number(out, value, value == 0 ? "-" : time_in_words(value));
}

void put_row(Writer& out, const Document& document, const Texts& texts) {
    const auto figure = [&](std::uint64_t value, const std::string& words) {
        put_number(out, value, document.detailed ? std::string_view(words) : "?");
    };
    const auto named = [&](TextId id) { return Shown{id == 0 ? std::string_view("?") : texts[id]}; };
    out << "<tr><td class=\"t\">" << stamp_in_words(document.start) << "</td><td>" << named(document.printer)
        << "</td>";
    put_number(out, document.job, document.has_job ? std::to_string(document.job) : "?");
    out << "<td>" << named(document.port) << "<br><span class=\"quiet\">" << named(document.address) << "</span></td>";
    figure(document.writes, grouped(document.writes));
    figure(document.taken, host::size_in_words(document.taken));
    figure(document.start_ms, time_in_words(document.start_ms));
    figure(document.write_ms, time_in_words(document.write_ms));
    figure(document.end_ms, time_in_words(document.end_ms));
    put_time(out, document.held_ms);
    out << "<td><span class=\"badge " << class_of(look_of(document)) << "\">" << text_of(document.outcome).words
        << "</span></td><td>" << Shown{cause_in_words(document, texts)} << "</td></tr>\n";
}

void put_documents(Writer& out, const Report& report, const Documents& documents) {
    out << "<section aria-labelledby=\"documents\"><h2 id=\"documents\">Documents</h2>\n";
    const std::uint64_t left_out = report.sums.all().documents - documents.size();
    if (left_out != 0) {
        out << "<p class=\"quiet\">" << counted(left_out, "further document")
            << " stand in the sums only; <code>tsport report --csv</code> lists up to 200,000.</p>\n";
    }
    out << "<div class=\"wide\" tabindex=\"0\" role=\"region\" aria-labelledby=\"documents\"><table "
           "id=\"documents-table\">"
           "<caption>One line a document. The headers sort the table.</caption>\n";
    put_header(out, {{"Started", false},
                     {"Printer", false},
                     {"Job", true},
                     {"Port", false},
                     {"Writes", true},
                     {"Data", true},
                     {"Start", true},
                     {"Writing", true},
                     {"End", true},
                     {"Held", true},
                     {"Outcome", false},
                     {"Cause", false}});
    for (const Document* const document : documents) put_row(out, *document, report.texts);
    out << "</tbody></table></div></section>\n";
}

void put_printers(Writer& out, const Report& report) {
    out << "<div class=\"wide\" tabindex=\"0\" role=\"region\" aria-labelledby=\"printers\"><table "
           "id=\"printers-table\">"
           "<caption>Connecting is the time of a start that no helper held. Throughput counts documents of 64 KiB and "
           "more, from the first byte to the printer&#39;s close. "
           "Until closed is the time between the last byte handed over and that close.</caption>\n";
    put_header(out, {{"Printer", false},
                     {"Documents", true},
                     {"Printed", true},
                     {"Late", true},
                     {"Failed", true},
                     {"Data", true},
                     {"Connecting", true},
                     {"95 %", true},
                     {"Throughput", true},
                     {"95 %", true},
                     {"Held", true},
                     {"Until closed", true}});
    for (const PrinterSums* const sums : report.sums.printers()) {
        out << "<tr><th scope=\"row\">" << Shown{sums->name} << "</th>";
        for (const std::uint64_t count :
             {sums->documents, sums->of(Outcome::printed), sums->of(Outcome::late), sums->failed()}) {
            put_number(out, count, grouped(count));
        }
        put_number(out, sums->taken, host::size_in_words(sums->taken));
        put_time(out, sums->connect.median());
        put_time(out, sums->connect.p95());
        for (const std::uint64_t rate : {sums->throughput.median(), sums->throughput.p95()}) {
            put_number(out, rate, rate == 0 ? std::string("-") : host::size_in_words(rate) + "/s");
        }
        put_time(out, sums->held_ms);
        put_time(out, sums->close_ms);
        out << "</tr>\n";
    }
    out << "</tbody></table></div>\n";
}

void put_causes(Writer& out, const Report& report) {
    const Totals& all = report.sums.all();
    out << "<section aria-labelledby=\"causes\"><h2 id=\"causes\">Causes</h2>\n";
    if (all.causes().empty()) {
        out << "<p>Nothing went wrong.</p></section>\n";
        return;
    }
    out << "<div class=\"wide\" tabindex=\"0\" role=\"region\" aria-labelledby=\"causes\"><table id=\"causes-table\">"
           "<caption>What kept documents from the printer, delayed or changed them.</caption>\n";
    put_header(out, {{"Cause", false}, {"Documents", true}, {"What to do", false}});
    for (const Trouble cause : all.causes()) {
        const TroubleText& text = text_of(cause);
        out << "<tr data-cause=\"" << text.id << "\"><th scope=\"row\">" << Shown{text.words} << "<br><code>" << text.id
            << "</code></th>";
        put_number(out, all.of(cause), grouped(all.of(cause)));
        out << "<td>" << Shown{text.remedy} << "</td></tr>\n";
    }
    out << "</tbody></table></div></section>\n";
}

// -- The rest --------------------------------------------------------------------------------------------------------

void put_head(Writer& out, const Report& report) {
    out << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
           "script-src '"
        << script_hash
        << "'; base-uri 'none'; form-action 'none'\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>Print report "
        << report.first.substr(0, 10) << "</title>\n<style>" << style
        << "</style></head>\n<body>\n<header><h1>What became of the documents</h1>\n<p class=\"quiet\">";
    if (!report.first.empty()) out << report.first << " to " << report.last << " &middot; ";
    out << counted(report.files.size(), "file") << ", " << counted(report.lines, "line") << ", "
        << host::size_in_words(report.bytes) << "</p>\n";
    if (report.cut_lines + report.foreign_lines != 0) {
        out << "<p class=\"quiet\">" << counted(report.cut_lines, "line") << " cut or broken, "
            << counted(report.foreign_lines, "line") << " not of the monitor.</p>\n";
    }
    if (report.lines > report.foreign_lines && report.detailed_lines == 0) {
        out << "<p>The log was written with <code>Debug=off</code>: documents that printed without trouble leave no "
               "line in "
               "it.</p>\n";
    }
    if (!report.covers.empty()) out << "<p>Only " << Shown{report.covers} << ".</p>\n";
    out << "</header>\n<main>\n";
}

void put_tile(Writer& out, const char* id, const char* name, std::uint64_t value, const std::string& words,
              bool bad = false) {
    out << "<div" << (bad && value != 0 ? " class=\"bad\"" : "") << "><dt>" << name << "</dt><dd id=\"" << id
        << "\" data-v=\"" << value << "\">" << words << "</dd></div>\n";
}

void put_tiles(Writer& out, const Totals& all) {
    const auto count = [&](const char* id, const char* name, std::uint64_t value, bool bad = false) {
        put_tile(out, id, name, value, grouped(value), bad);
    };
    out << "<dl class=\"tiles\">\n";
    count("n-documents", "Documents", all.documents);
    count("n-printed", "Printed", all.of(Outcome::printed));
    count("n-late", "Printed late", all.of(Outcome::late));
    count("n-failed", "Did not come out", all.failed(), true);
    count("n-unknown", "End unknown", all.of(Outcome::unknown));
    put_tile(out, "n-bytes", "Data", all.taken, host::size_in_words(all.taken));
    put_tile(out, "n-held", "Held in all", all.held_ms, time_in_words(all.held_ms));
    out << "</dl>\n";
}

void put_findings(Writer& out, const Report& report) {
    const std::vector<Finding> findings = report.sums.findings();
    const auto errors = report.other_errors.in_order();
    if (findings.empty() && errors.empty()) return;
    out << "<section aria-labelledby=\"found\"><h2 id=\"found\">What stands out</h2>\n<ul class=\"found\">\n";
    for (const Finding& finding : findings) {
        out << "<li data-finding=\"" << finding.id << "\"><strong>" << Shown{finding.printer}
            << "</strong>: " << Shown{finding.words} << " <code>" << finding.id << "</code></li>\n";
    }
    for (const OtherErrors::Error& error : errors) {
        out << "<li data-count=\"" << error.count << "\">" << grouped(error.count)
            << " &times; another error: " << Shown{error.text} << "</li>\n";
    }
    out << "</ul></section>\n";
}

}  // namespace
}  // namespace html

void write_html(const Report& report, const Sink& sink) {
    using namespace html;
    Writer out(sink);
    const Documents documents = chosen(report);
    put_head(out, report);
    put_tiles(out, report.sums.all());
    put_findings(out, report);
    put_causes(out, report);
    put_failures_over_time(out, documents);
    put_timeline(out, report, documents);
    out << "<section aria-labelledby=\"printers\"><h2 id=\"printers\">Throughput and waiting</h2>\n";
    put_speed(out, report);
    put_printers(out, report);
    out << "</section>\n";
    put_documents(out, report, documents);
    out << "</main>\n<footer>tsport report</footer>\n<script>" << script << "</script>\n</body></html>\n";
}

}  // namespace tsport::report
