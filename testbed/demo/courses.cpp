#include "testbed/demo/courses.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>

#include "host/platform.h"
#include "testbed/records.h"
#include "testbed/status_words.h"

namespace demo {
namespace {

using Connections = std::vector<test_printer::Connection>;

constexpr std::uint64_t large = 1 << 20;  // the throughput of less says nothing
constexpr std::uint64_t lost_document_size = 16 << 20;
constexpr std::uint64_t lost_after = 4 << 20;

// What the sample helper puts in front of a PostScript page.
const std::string request = "<< /Duplex true /Tumble false /NumCopies 2 >> setpagedevice\n";

// -- What is shown ---------------------------------------------------------------------------------------------------

void show_row(const char* label, const std::string& text) {
    std::printf("   %s %s\n", host::padded(label, 10).c_str(), text.c_str());
    std::fflush(stdout);
}

// An outcome as it is shown: a title, an explanation, rows, and whether all was as expected.
class Scene {
  public:
    Scene(Stage& stage, const std::string& title, const char* story) : stage_(stage) {
        static int number = 0;
        std::printf("\n%d. %s\n   %s\n", ++number, title.c_str(), story);
    }

    void show(const char* label, const std::string& text, bool as_it_should = true) {
        show_row(label, as_it_should ? text : text + "   <-- THIS IS WRONG");
        good_ = good_ && as_it_should;
    }
    void show_document(const host::Document& document) {
        show("document", "\"" + host::to_utf8(document.name) + "\", " + host::size_to_text(document.source.size) +
                             ", job " + std::to_string(document.job_id) + ", to the printer \"" + printer_name + "\"");
    }

    // What the job came to, and every status and command of it.
    void show_outcome(const host::Outcome& outcome, host::Result expected, const std::vector<DWORD>& commands) {
        std::string statuses;
        for (const DWORD status : outcome.job.status_seen) {
            statuses += (statuses.empty() ? "" : " -> ") + testbed::job_status_to_text(status);
        }
        std::string given;
        for (const DWORD command : outcome.job.commands) {
            given += (given.empty() ? "\"" : ", \"") + testbed::job_command_to_text(command) + "\"";
        }
        show("spooler", "job " + statuses + "; the monitor told it " + (given.empty() ? "nothing" : given),
             outcome.job.commands == commands);
        show("outcome",
             outcome.message + " in " + host::seconds_to_text(outcome.seconds) +
                 (outcome.bytes >= large ? ", " + host::rate_to_text(outcome.bytes, outcome.seconds) : ""),
             outcome.result == expected && outcome.identity_kept);
    }
    void show_nothing_arrived(const Connections& arrived) {
        if (cannot_see()) return;
        show("printer", arrived.empty() ? "nothing arrived, no connection was made" : "it was reached",
             arrived.empty());
    }
    void show_whole(const Connections& arrived, const std::string& digest) {
        if (cannot_see()) return;
        const bool whole = arrived.size() == 1 && is_whole(arrived[0], digest);
        show("printer", arrived.empty() ? "nothing arrived" : description(arrived.back(), digest), whole);
    }
    static bool is_whole(const test_printer::Connection& arrived, const std::string& digest) {
        return arrived.end == test_printer::End::finished && arrived.sha256 == digest;
    }
    static std::string description(const test_printer::Connection& arrived, const std::string& digest) {
        const std::string size = host::size_to_text(arrived.bytes);
        return is_whole(arrived, digest)
                   ? size + " arrived, equal to the document (SHA-256 " + digest.substr(0, 12) + ")"
                   : size + " arrived, and then the stream was " + end_to_text(arrived.end);
    }

    // True, with a word about it, when the printer is a real one.
    bool cannot_see() {
        if (stage_.printer() == nullptr) show("printer", "please look at " + stage_.address());
        return stage_.printer() == nullptr;
    }

    bool end() {
        for (const std::string& line : stage_.log_lines()) show_row("log", line);
        return good_;
    }

  private:
    Stage& stage_;
    bool good_ = true;
};

const std::vector<DWORD> sent_to_printer = {JOB_CONTROL_SENT_TO_PRINTER};

// What the service lays out for a document while the scope lasts.
class LaidOut {
  public:
    LaidOut(Stage& stage, const host::Document& document, const testbed::DocumentPlan& plan)
        : stage_(stage), job_id_(document.job_id), plan_(plan) {
        testbed::lay_out(stage_.folder, printer_name, job_id_, plan_);
    }
    ~LaidOut() { testbed::clear_away(stage_.folder, printer_name, job_id_, plan_); }
    LaidOut(const LaidOut&) = delete;
    LaidOut& operator=(const LaidOut&) = delete;

  private:
    const Stage& stage_;
    const DWORD job_id_;
    const testbed::DocumentPlan plan_;
};

}  // namespace

// -- The outcomes ----------------------------------------------------------------------------------------------------

bool show_direct(Stage& stage, const File& file) {
    Scene scene(stage, "Printed directly", "Each buffer goes to the printer as the spooler hands it over.");
    const host::Document document = stage.document(file.name, file.source);
    scene.show_document(document);
    const std::string digest = digest_of(file.source);
    const host::Outcome outcome = stage.print(document);
    scene.show_whole(stage.arrivals(true), digest);
    scene.show_outcome(outcome, host::Result::printed, sent_to_printer);
    return scene.end();
}

bool show_not_approved(Stage& stage, const File& file) {
    Scene scene(stage, "Not approved",
                "The Print Provider has left a marker for the job: the monitor takes the data and throws it away.");
    host::Document document = stage.document(file.name, file.source);
    document.not_approved = true;
    scene.show_document(document);
    const host::Outcome outcome = stage.print(document);
    scene.show_nothing_arrived(stage.arrivals(false));
    scene.show_outcome(outcome, host::Result::refused, sent_to_printer);
    return scene.end();
}

bool show_held(Stage& stage, const File& file) {
    Scene scene(stage, "Held because of an open door, then released",
                "The printer's hardware is checked; the helper program sees an open door, and later that it is shut.");
    const host::Document document = stage.document(file.name, file.source);
    const LaidOut laid_out(
        stage, document,
        {.checked = true, .script = "on startdoc WAIT \"Door Open\" then WAIT \"Door Open\" until shut then OK"});
    const host::Text& printer = document.printer;
    scene.show_document(document);
    const std::string digest = digest_of(file.source);
    auto printing = std::async(std::launch::async, [&] { return stage.print(document); });
    const bool held = testbed::wait_until([&] { return spooler_sim::printer_status(printer) != 0; });
    spooler_sim::Job job;
    spooler_sim::get_job(printer, document.job_id, job);
    scene.show("while held",
               "job " + testbed::job_status_to_text(job.status) + "; printer " +
                   testbed::printer_status_to_text(spooler_sim::printer_status(printer)),
               held && (job.status & JOB_STATUS_ERROR) != 0 &&
                   spooler_sim::printer_status(printer) == PRINTER_STATUS_DOOR_OPEN);
    scene.show_nothing_arrived(stage.arrivals(false));
    const std::filesystem::path shut = host::path_of(stage.folder.base) / "shut";
    std::ofstream(shut).flush();
    const host::Outcome outcome = printing.get();
    std::error_code ignored;
    std::filesystem::remove(shut, ignored);
    scene.show("released",
               "job " + testbed::job_status_to_text(outcome.job.status) + "; printer " +
                   testbed::printer_status_to_text(spooler_sim::printer_status(printer)),
               outcome.job.status == JOB_STATUS_PRINTED && spooler_sim::printer_status(printer) == 0);
    scene.show_whole(stage.arrivals(true), digest);
    scene.show_outcome(outcome, host::Result::printed, sent_to_printer);
    return scene.end();
}

bool show_dropped(Stage& stage, const File& file) {
    Scene scene(stage, "Dropped by the helper",
                "The helper program orders the job deleted: the monitor takes the data and throws it away.");
    const host::Document document = stage.document(file.name, file.source);
    const LaidOut laid_out(stage, document, {.checked = true, .script = "on startdoc DELETE"});
    scene.show_document(document);
    const host::Outcome outcome = stage.print(document);
    scene.show_nothing_arrived(stage.arrivals(false));
    scene.show_outcome(outcome, host::Result::dropped, sent_to_printer);
    return scene.end();
}

bool show_forced_attributes(Stage& stage, const File& file) {
    Scene scene(stage, "Forced attributes: duplex, two copies",
                "The job goes to a file; at its end the helper program rewrites it, and its output is sent.");
    const host::Document document = stage.document(file.name, file.source);
    scene.show_document(document);
    const LaidOut laid_out(stage, document, {.forced = true});
    const std::string digest = digest_of(file.source);
    const host::Outcome outcome = stage.print(document);
    const Connections arrived = stage.arrivals(true);
    if (!scene.cannot_see()) {
        std::string data = arrived.empty() ? "" : arrived.back().data;
        const size_t place = data.find(request);
        if (place != std::string::npos) data.erase(place, request.size());
        const bool right = arrived.size() == 1 && arrived[0].end == test_printer::End::finished &&
                           place != std::string::npos && digest_of(host::memory_source(data)) == digest;
        scene.show("printer",
                   arrived.empty()
                       ? "nothing arrived"
                       : host::size_to_text(arrived.back().bytes) + " arrived, the document and before its page " +
                             request.substr(0, request.size() - 1),
                   right);
    }
    scene.show_outcome(outcome, host::Result::printed, sent_to_printer);
    return scene.end();
}

bool show_lost_printer(Stage& stage) {
    Scene scene(stage, "Printer lost in the middle of a job",
                "The connection breaks; once the printer is back the monitor has the spooler send the job again.");
    test_printer::Behaviour broken;
    broken.reset_after = lost_after;
    stage.printer()->behave_once(broken);
    host::Document document = stage.document("large", host::generated_source(lost_document_size, 2));
    document.retry_pause_ms = 20;
    scene.show_document(document);
    const std::string digest = digest_of(document.source);
    const host::Outcome outcome = stage.print(document);
    const Connections arrived = stage.arrivals(true);
    const bool three = arrived.size() == 3;
    scene.show("printer", std::to_string(arrived.size()) + " connections", three);
    if (three) {
        scene.show("  first", Scene::description(arrived[0], digest), arrived[0].end == test_printer::End::reset_here);
        scene.show("  second", "nothing: the monitor looked whether the printer is back", arrived[1].bytes == 0);
        scene.show("  third", Scene::description(arrived[2], digest), Scene::is_whole(arrived[2], digest));
    }
    // The interrupted run of the job is reported as sent at its end, too.
    scene.show_outcome(outcome, host::Result::printed,
                       {JOB_CONTROL_RESTART, JOB_CONTROL_SENT_TO_PRINTER, JOB_CONTROL_SENT_TO_PRINTER});
    return scene.end();
}

}  // namespace demo
