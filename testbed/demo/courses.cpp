#include "testbed/demo/courses.h"

#include <cstdio>
#include <fstream>
#include <future>

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
    Scene(Stage& stage, const char* title, const char* story, const host::Document& document)
        : stage_(stage), expected_(bytes_of(document.source)) {
        static int number = 0;
        std::printf("\n%d. %s\n   %s\n", ++number, title, story);
        show("document", "\"" + host::to_utf8(document.name) + "\", " + host::size_to_text(document.source.size) +
                             ", job " + std::to_string(document.job_id) + ", to the printer \"" + printer_name + "\"");
    }

    void show(const char* label, const std::string& text, bool as_it_should = true) {
        show_row(label, as_it_should ? text : text + "   <-- THIS IS WRONG");
        good_ = good_ && as_it_should;
    }
    // What the job and its printer show.
    void show_status(const char* label, DWORD job, DWORD printer, bool as_it_should) {
        show(label, "job " + testbed::job_status_to_text(job) + "; printer " + testbed::printer_status_to_text(printer),
             as_it_should);
    }
    // What the job came to, and every status and command of it.
    void show_outcome(const host::Outcome& outcome, host::Result expected,
                      const std::vector<DWORD>& commands = {JOB_CONTROL_SENT_TO_PRINTER}) {
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
    void show_arrival(Arrival expected) {
        const Connections arrived = stage_.arrivals(expected != Arrival::nothing);
        if (cannot_see()) return;
        if (expected == Arrival::nothing) {
            show("printer", arrived.empty() ? "nothing arrived, no connection was made" : "it was reached",
                 arrived.empty());
        } else if (arrived.size() != 1) {
            show("printer", std::to_string(arrived.size()) + " connections", false);
        } else {
            show_connection("printer", arrived[0], expected);
        }
    }
    // The document, or with the helper's request before its page.
    void show_connection(const char* label, test_printer::Connection arrived, Arrival expected = Arrival::whole) {
        const bool is_rewritten = expected == Arrival::rewritten;
        const size_t place = is_rewritten ? arrived.data.find(request) : std::string::npos;
        if (place != std::string::npos) arrived.data.erase(place, request.size());
        const bool whole = arrived.end == test_printer::End::finished && arrived.data == expected_ &&
                           is_rewritten == (place != std::string::npos);
        const std::string how = !whole ? ", and then the stream was " + std::string(end_to_text(arrived.end))
                                : is_rewritten
                                    ? ", the document and before its page " + request.substr(0, request.size() - 1)
                                    : ", equal to the document";
        show(label, host::size_to_text(arrived.bytes) + " arrived" + how, whole);
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
    const std::string expected_;  // the document's bytes
    bool good_ = true;
};

// Waits until the job is held, and shuts the door.
void show_held(Scene& scene, Stage& stage, const host::Document& document) {
    const auto printer_status = [&] { return spooler_sim::printer_status(document.printer); };
    testbed::wait_until([&] { return printer_status() != 0; });
    spooler_sim::Job job;
    spooler_sim::get_job(document.printer, document.job_id, job);
    scene.show_status("while held", job.status, printer_status(),
                      (job.status & JOB_STATUS_ERROR) != 0 && printer_status() == PRINTER_STATUS_DOOR_OPEN);
    scene.show_arrival(Arrival::nothing);
    std::ofstream(host::path_of(stage.folder.base) / "shut").flush();
}

}  // namespace

// -- The outcomes ----------------------------------------------------------------------------------------------------

const Course direct = {"Printed directly", "Each buffer goes to the printer as the spooler hands it over.", {}};
const Course not_approved = {
    "Not approved",
    "The Print Provider has left a marker for the job: the monitor takes the data and throws it away.",
    {.not_approved = true},
    host::Result::refused,
    Arrival::nothing};
const Course held = {
    "Held because of an open door, then released",
    "The printer's hardware is checked; the helper program sees an open door, and later that it is shut.",
    {.checked = true, .script = "on startdoc WAIT \"Door Open\" then WAIT \"Door Open\" until shut then OK"},
    host::Result::printed,
    Arrival::whole,
    true};
const Course dropped = {"Dropped by the helper",
                        "The helper program orders the job deleted: the monitor takes the data and throws it away.",
                        {.checked = true, .script = "on startdoc DELETE"},
                        host::Result::dropped,
                        Arrival::nothing};
const Course forced = {"Forced attributes: duplex, two copies",
                       "The job goes to a file; at its end the helper program rewrites it, and its output is sent.",
                       {.forced = true},
                       host::Result::printed,
                       Arrival::rewritten};

bool show(Stage& stage, const Course& course, const File& file) {
    const host::Document document = stage.document(file.name, file.source);
    Scene scene(stage, course.title, course.story, document);
    testbed::lay_out(stage.folder, printer_name, document.job_id, course.plan);
    auto printing = std::async(std::launch::async, [&] { return stage.print(document); });
    if (course.is_held) show_held(scene, stage, document);
    const host::Outcome outcome = printing.get();
    const DWORD printer_status = spooler_sim::printer_status(document.printer);
    if (course.is_held) {
        scene.show_status("released", outcome.job.status, printer_status,
                          outcome.job.status == JOB_STATUS_PRINTED && printer_status == 0);
    }
    testbed::clear_away(stage.folder, printer_name, document.job_id, course.plan);
    scene.show_arrival(course.arrival);
    scene.show_outcome(outcome, course.result);
    return scene.end();
}

bool show_lost_printer(Stage& stage) {
    stage.printer()->behave_once({.reset_after = lost_after});
    host::Document document = stage.document("large", host::generated_source(lost_document_size, 2));
    document.retry_pause_ms = 20;
    Scene scene(stage, "Printer lost in the middle of a job",
                "The connection breaks; once the printer is back the monitor has the spooler send the job again.",
                document);
    const host::Outcome outcome = stage.print(document);
    const Connections arrived = stage.arrivals(true);
    scene.show("printer", std::to_string(arrived.size()) + " connections", arrived.size() == 3);
    if (arrived.size() == 3) {
        scene.show("  first",
                   host::size_to_text(arrived[0].bytes) + " arrived, then it was " + end_to_text(arrived[0].end),
                   arrived[0].end == test_printer::End::reset_here);
        scene.show("  second", "nothing: the monitor looked whether the printer is back", arrived[1].bytes == 0);
        scene.show_connection("  third", arrived[2]);
    }
    // The interrupted run of the job is reported as sent at its end, too.
    scene.show_outcome(outcome, host::Result::printed,
                       {JOB_CONTROL_RESTART, JOB_CONTROL_SENT_TO_PRINTER, JOB_CONTROL_SENT_TO_PRINTER});
    return scene.end();
}

}  // namespace demo
