// The administrators' command line: what it answers (tsport.txt), and what a text cannot show. Its library is a hosted
// one, over a file of ports or as the monitor of simulated servers.
#include <optional>
#include <regex>
#include <thread>

#include "tests/support/platform.h"
#include "tests/support/print_server.h"
#include "tests/support/scratch.h"
#include "tsport/file.h"
#include "tsport/ports/hosted.h"
#include "tsport/run.h"

namespace test {
namespace {

// -- Scripts ---------------------------------------------------------------------------------------------------------

struct Step {
    size_t line = 0;
    Lines words;
    std::string input;
    Lines output;
    int status = 0;
};

struct Part {
    std::string title;
    std::vector<Step> steps;
};

std::string unescaped(std::string text) {
    const std::string names = "rt\\\"x";
    for (size_t i = 0; (i = text.find('\\', i)) != std::string::npos && i + 1 < text.size(); ++i) {
        const size_t index = names.find(text[i + 1]);
        if (index == names.size() - 1) {
            text.replace(i, 4, 1, static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16)));
        } else if (index != std::string::npos) {
            text.replace(i, 2, 1, "\r\t\\\""[index]);
        }
    }
    return text;
}

Lines words_of(const std::string& line) {
    Lines words;
    const std::regex word(R"re("((\\.|[^"])*)"|[^ ]+)re");
    for (std::sregex_iterator at(line.begin(), line.end(), word), end; at != end; ++at) {
        words.push_back((*at)[1].matched ? unescaped((*at)[1]) : at->str());
    }
    return words;
}

// "error 5, Access is denied (...": what stands between number and parenthesis is the system's, and differs.
std::string without_system_text(const std::string& line) {
    return std::regex_replace(line, std::regex("(: error [0-9]+),.*? \\("), "$1 (");
}

std::vector<Part> parse_script(const std::string& text) {
    std::vector<Part> parts;
    std::istringstream lines(text);
    size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.starts_with("== ")) {
            parts.push_back({line.substr(3), {}});
        } else if (parts.empty() || line.empty()) {
            continue;
        } else if (line.starts_with("$ ")) {
            parts.back().steps.push_back({number, words_of(line.substr(2)), "", {}, 0});
        } else if (Step& step = parts.back().steps.back(); line.starts_with("| ")) {
            step.input += unescaped(line.substr(2)) + "\n";
            if (step.input.ends_with("\\c\n")) step.input.resize(step.input.size() - 3);
        } else if (line == "[usage]") {
            step.output.push_back("Try tsport --help.");
            step.status = tsport::bad_usage;
        } else if (line.size() == 3 && line.front() == '[' && line.back() == ']') {
            step.status = line[1] - '0';
        } else {
            step.output.push_back(line);
        }
    }
    return parts;
}

class Tsport : public testing::Test {
  protected:
    Tsport() {
        spooler_sim::reset();
        clear_registry();
        fs::current_path(path_of(scratch_.native()));
        closed_.refuse();
    }
    ~Tsport() override {
        std::error_code ignored;
        servers_.clear();
        fs::current_path(home_, ignored);
    }

    tsport::Answer run(Lines arguments, const std::string& input = "", bool with_store = true) const {
        if (with_store) arguments.insert(arguments.begin(), {"--store", "store"});
        std::istringstream stream(input);
        std::string out;
        tsport::Answer answer =
            tsport::run(arguments, {stream, nullptr, [&](std::string_view text) { out += text; }, columns_});
        answer.out.insert(0, out);
        return answer;
    }

    std::string source_file(const std::string& name) const {
        std::string text = read_file(source_path(TEST_FOLDER "/" + name));
        text = std::regex_replace(text, std::regex("<printer>"), std::to_string(printer_.port()));
        return std::regex_replace(text, std::regex("<closed>"), std::to_string(closed_.port()));
    }

    // Every line of an answer against one that is expected, or against "...".
    static void expect_lines(const Lines& expected, const Lines& lines) {
        size_t at = 0;
        bool same = true;
        bool any = false;
        for (const std::string& line : expected) {
            if (line == "...") {
                any = true;
                continue;
            }
            const auto fits = [&line](const std::string& found) {
                return line.starts_with("~ ") ? found.find(line.substr(2)) != std::string::npos
                                              : without_system_text(line) == without_system_text(found);
            };
            while (any && at < lines.size() && !fits(lines[at])) ++at;
            any = false;
            same = same && at < lines.size() && fits(lines[at++]);
        }
        EXPECT_TRUE(same && (any || at == lines.size()))
            << "expected " << testing::PrintToString(expected) << "\n   found " << testing::PrintToString(lines);
    }

    void take(const Step& step, bool with_store) {
        const Lines& words = step.words;
        SCOPED_TRACE("line " + std::to_string(step.line) + ": " + testing::PrintToString(words));
        if (words[0] == "write") {
            fs::create_directories(fs::absolute(path_of(words[1])).parent_path());
            ASSERT_TRUE(write_file(path_of(words[1]), step.input));
        } else if (words[0] == "cat") {
            Lines expected = step.output;
            for (std::string& line : expected) line = unescaped(line);
            expect_lines(expected, split_lines(read_file(path_of(words[1]))));
        } else if (!arrange(words)) {
            ASSERT_EQ(words[0], "tsport");
            const tsport::Answer answer = run({words.begin() + 1, words.end()}, step.input, with_store);
            EXPECT_EQ(answer.status, step.status);
            expect_lines(step.output, split_lines(answer.out + answer.err));
        }
    }

    // A monitor of its own, with these ports.
    void add_server(const Text& name, const std::vector<tsport::Port>& ports) {
        host::MonitorHost::Options options;
        std::string why;
        options.library = host::executable_folder() + "/" + host::monitor_file_name();
        options.registry_path = contract::kMonitorKey + name.substr(1);
        options.simulated_server = name;
        spooler_sim::add_server(name);
        for (const tsport::Port& port : ports) {
            host::store_port(port.name, port.address, port.number, options.hive, options.registry_path);
        }
        ASSERT_TRUE(servers_.emplace_back(std::make_unique<host::MonitorHost>())->load(options, why)) << why;
    }
    void add_servers() {
        add_server(W("\\\\FRONT"), {{W("Office"), W("10.0.0.1"), 9100}, {W("Hall"), W("10.0.0.2"), 9100}});
        add_server(W("\\\\BACK"), {{W("Lab"), W("10.0.1.1"), 9100}});
        spooler_sim::stop_server(W("\\\\DOWN"));
        spooler_sim::add_printer(W("\\\\FRONT\\Hall queue"), W("LPT1:,Hall"));
        spooler_sim::add_printer(W("\\\\FRONT\\Second floor"), W("office"));
        spooler_sim::add_printer(W("\\\\FRONT\\Third floor"), W("Office"));
        spooler_sim::add_printer(W("Local"), W("Lab"));
    }

    // This machine's spooler starts anew.
    void restart() {
        host::MonitorHost::Options options;
        std::string why;
        options.library = host::executable_folder() + "/" + host::monitor_file_name();
        servers_.clear();
        ASSERT_TRUE(servers_.emplace_back(std::make_unique<host::MonitorHost>())->load(options, why)) << why;
    }
    // What others do to this machine: "store" and "forget" ports of the registry, ports of Windows' own monitors,
    // queues.
    bool arrange(const Lines& words) {
        const Text name = words.size() > 1 ? host::to_text(words[1]) : Text();
        const auto text = [&words](size_t i) { return i < words.size() ? host::to_text(words[i]) : Text(); };
        const auto number = [&words](size_t i, DWORD usual) {
            return i < words.size() ? static_cast<DWORD>(std::stoul(words[i])) : usual;
        };
        if (words[0] == "columns") {
            columns_ = number(1, 0);
        } else if (words[0] == "restart") {
            restart();
        } else if (words[0] == "store") {
            EXPECT_TRUE(host::store_port(name, text(2), number(3, 9100)));
        } else if (words[0] == "forget") {
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, (Text(contract::kMonitorKey) + W("\\Ports\\") + name).c_str());
        } else if (words[0] == "foreign") {
            spooler_sim::add_foreign_port(name);
        } else if (words[0] == "standard") {
            EXPECT_EQ(spooler_sim::add_standard_port({name, text(2), text(3), number(4, 9100), number(5, 1)}), 0u);
        } else if (words[0] == "queue") {
            spooler_sim::remove_printer(name);
            if (words.size() > 2) spooler_sim::add_printer(name, text(2));
        } else if (words[0] == "status") {
            spooler_sim::set_printer_status(name, number(2, 0));
        } else if (words[0] == "job") {
            spooler_sim::add_job(name, 1, W("document"), W("ann"));
        } else {
            return false;
        }
        return true;
    }

    const fs::path home_ = fs::current_path();
    const ScratchDir scratch_;
    test_printer::TcpPrinter printer_;
    test_printer::TcpPrinter closed_;
    std::vector<std::unique_ptr<host::MonitorHost>> servers_;
    size_t columns_ = 0;  // of the terminal; 0: there is none
};

TEST_F(Tsport, AnswersAsWritten) {
    const std::vector<Part> parts = parse_script(source_file("document/tsport.txt"));
    ASSERT_GT(parts.size(), 10u);
    const auto take_part = [&](const Part& part, bool strict) {
        SCOPED_TRACE(part.title);
        const bool with_servers = part.title.find("servers)") != std::string::npos;
        const bool local = part.title.find("local)") != std::string::npos;
        for (const fs::directory_entry& entry : fs::directory_iterator(".")) fs::remove_all(entry.path());
        spooler_sim::reset();
        clear_registry();
        columns_ = 0;
        spooler_sim::set_strict_port_list(strict);
        if (with_servers) add_servers();
        if (part.title.starts_with("a print server")) host::store_install_path(W("C:\\service"));
        spooler_sim::set_lists_never_fit(part.title.find("never fit") != std::string::npos);
        spooler_sim::set_administrator(part.title.rfind("no administrator", 0) != 0);
        const bool with_store = !with_servers && !local && part.title.find(" files)") == std::string::npos;
        for (const Step& step : part.steps) take(step, with_store);
        servers_.clear();
    };
    // With a spooler that knows every port of its monitor, and with one that has a list of its own.
    for (const Part& part : parts) {
        if (part.title.find("(strict") == std::string::npos) take_part(part, false);
        if (part.title.find("(lenient") == std::string::npos) take_part(part, true);
    }
}

// -- The store -------------------------------------------------------------------------------------------------------

TEST_F(Tsport, OneProcessAtATimeChangesAStore) {
    ASSERT_EQ(run({"add", "A", "h"}).status, tsport::done);
    const std::string before = read_file("store");
    std::optional<tsport::FileLock> lock(std::in_place);
    std::string why;
    ASSERT_EQ(lock->try_take("store", why), tsport::FileLock::Result::taken) << why;
    for (const Lines& change : {Lines{"add", "B", "h"}, Lines{"delete", "A"}, Lines{"set", "A", "h2"}}) {
        Lines arguments = change;
        arguments.insert(arguments.end(), {"--wait", "0"});
        const tsport::Answer answer = run(arguments);
        EXPECT_EQ(answer.status, tsport::refused);
        EXPECT_NE(answer.err.find("another process is changing store"), std::string::npos) << answer.err;
    }
    EXPECT_EQ(run({"delete", "A", "--dry-run"}).status, tsport::done) << "who only looks need not wait";
    EXPECT_EQ(read_file("store"), before);

    // Who waits sees what was changed meanwhile.
    std::thread holder([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        write_file("store", before + "B h 1\n");
        lock.reset();
    });
    EXPECT_EQ(run({"add", "C", "h", "--wait", "300"}).status, tsport::done);
    holder.join();
    EXPECT_EQ(run({"list", "--names"}).out, "A\nB\nC\n");
}

// Also while the file of the lock goes and comes.
TEST_F(Tsport, OneAtATimeHoldsALock) {
    std::atomic<int> changes{0};
    const auto change = [&] {
        for (int i = 0; i < 200; ++i) {
            tsport::FileLock lock;
            std::string why;
            ASSERT_TRUE(tsport::take_lock(lock, "counted", std::chrono::minutes(5), why)) << why;
            const int before = changes;
            std::this_thread::yield();
            changes = before + 1;
        }
    };
    std::thread other(change);
    change();
    other.join();
    EXPECT_EQ(changes, 400);
    EXPECT_FALSE(fs::exists("counted.lock"));
}

}  // namespace
}  // namespace test
