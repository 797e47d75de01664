// A print server with the sample helper program in its base folder: the script it answers by, what it heard, and the
// records that bring it into play.
#pragma once

#include <algorithm>
#include <future>

#include "testbed/records.h"
#include "tests/support/print_server.h"

namespace test {

class HelperServer : public PrintServer {
  protected:
    static constexpr DWORD kJob = 7;
    static constexpr const char* kProgram = "ts-print-monitor.exe";

    // The printer "Office", the monitor, and the helper, which nothing asks for yet.
    void start(Lines settings = {}, bool with_helper = true) {
        prepare(std::move(settings));
        if (with_helper) install_helper();
        start_monitor();
    }
    void prepare(Lines settings = {}) {
        settings.insert(settings.begin(), "Debug=on");
        configure(settings);
        add_printer(W("Office"));
        base = path_of(folder.base);
    }
    // With a first page, so that what is made once is not counted as left over.
    void start_monitor() {
        monitor.unload();
        load();
        ASSERT_EQ(print(W("Office"), "first page").result, host::Result::printed);
        arrived();
        handles_ = open_handles();
    }
    void install_helper() {
        remove_helper();
        ASSERT_TRUE(fs::copy_file(path_of(host::executable_folder()) / kProgram, base / kProgram));
    }
    // Once the last one has ended: the file of a running program can neither be written nor, on Windows, deleted.
    void remove_helper() {
        std::error_code error;
        EXPECT_TRUE(wait_until([&] { return fs::remove(base / kProgram, error) || !error; }));
    }
    void answer_by(const std::string& script) { write_file(base / "ts-print-monitor.script", script); }
    // Ends what the script holds "until" a file of this name is there.
    void release(const std::string& name) { write_file(base / name, ""); }

    // -- Records of the Print Provider

    void check_hardware() { EXPECT_TRUE(testbed::write_settings_record(folder, "Office")); }
    fs::path work_file(const std::string& name) const { return path_of(folder.spool("forceattr") + "/" + name); }
    void force_attributes(const std::string& printer = "Office", DWORD job = kJob) {
        EXPECT_TRUE(testbed::write_force_attributes_records(folder, printer, job));
    }
    // The names in the force-attributes directory, sorted.
    Lines work_files() const {
        Lines names;
        for (const auto& entry : fs::directory_iterator(work_file(""))) {
            names.push_back(utf8_of(entry.path().filename()));
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    // -- A document

    host::Outcome print_job(const std::string& data, DWORD write_size = 65536, const Text& printer = W("Office")) {
        host::Document job = document(printer, host::memory_source(data), write_size);
        job.port = W("Office");
        job.job_id = kJob;
        return monitor.print_document(job);
    }
    std::future<host::Outcome> print_job_meanwhile(const std::string& data) {
        return std::async(std::launch::async, [this, data] { return print_job(data); });
    }
    // -- What the helper heard

    // The transcripts of all runs so far, in the order of their starts. Waits for each to be over.
    std::string heard() const {
        std::string all;
        for (int run = 1; fs::exists(run_folder(run)); ++run) {
            std::string transcript;
            const bool over = wait_until([&] {
                transcript = read_file(run_folder(run) / "transcript");
                const size_t last = transcript.rfind('\n', transcript.size() - 2) + 1;
                return transcript.ends_with(")\n") && transcript[last] == '(';
            });
            EXPECT_TRUE(over) << "a helper is still running, it has heard\n" << transcript;
            all += transcript;
        }
        return all;
    }
    // Nothing is left over, the next document prints, and the next run is the first again.
    void expect_clean() {
        remove_transcripts();
        fs::remove(base / "ts-print-monitor.script");
        spooler_sim::set_printer_status(W("Office"), 0);
        arrived();
        host::Document next = document(W("Office"), host::memory_source("next page"));
        next.job_id = kJob + 1000;
        EXPECT_EQ(monitor.print_document(next).result, host::Result::printed);
        EXPECT_EQ(arrived(), Lines{"next page"});
        remove_transcripts();
        EXPECT_TRUE(handles_fall_to(handles_)) << open_handles() << " > " << handles_;
        // What others closed late was open still when the handles were counted first.
        handles_ = std::min(handles_, open_handles());
    }

    // After the last helper has ended and released its files.
    void remove_transcripts() {
        heard();
        std::error_code error;
        EXPECT_TRUE(wait_until([&] {
            fs::remove_all(base / "ts-print-monitor.runs", error);
            return !error;
        }));
    }

    fs::path run_folder(int run) const { return base / "ts-print-monitor.runs" / std::to_string(run); }

    fs::path base;

  private:
    size_t handles_ = 0;
};

}  // namespace test
