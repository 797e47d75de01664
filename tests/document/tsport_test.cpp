// The administrators' command line: what it answers (tsport.txt, and the examples of README.md), and what a text cannot
// show. Its library is a hosted one, over a file of ports or as the monitor of simulated servers.
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/platform.h"
#include "tests/support/print_server.h"
#include "tsport/file.h"
#include "tsport/ports/store.h"
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

// A file of the sources, which lie on a drive of their own for programs that see Windows.
std::string source_file(const std::string& name) {
    std::string path = std::string(TEST_FOLDER) + "/" + name;
    if (!fs::exists(path_of(path))) path.erase(0, 2);
    return read_file(path_of(path));
}

std::string unescaped(const std::string& text) {
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
        } else if (text[++i] == 'x') {
            result += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            const std::string names = "rt\\\"";
            const size_t index = names.find(text[i]);
            result += index != std::string::npos ? std::string("\r\t\\\"").substr(index, 1) : "\\" + text.substr(i, 1);
        }
    }
    return result;
}

Lines words_of(const std::string& line) {
    Lines words;
    for (size_t i = 0; i < line.size();) {
        const size_t begin = i;
        if (line[i] == '"') {
            for (++i; line[i] != '"'; ++i) i += line[i] == '\\' ? 1 : 0;
            words.push_back(unescaped(line.substr(begin + 1, i - begin - 1)));
            ++i;
        } else {
            i = std::min(line.find(' ', i), line.size());
            words.push_back(line.substr(begin, i - begin));
        }
        i = std::min(line.find_first_not_of(' ', i), line.size());
    }
    return words;
}

void replace_all(std::string& text, const std::string& mark, const std::string& value) {
    for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += value.size()) {
        text.replace(at, mark.size(), value);
    }
}

// "error 5, Access is denied (...": what stands between number and parenthesis is the system's, and differs.
std::string without_system_text(const std::string& line) {
    const size_t error = line.find(": error ");
    const size_t comma = line.find(',', error);
    const size_t end = line.find(" (", comma);
    if (error == std::string::npos || comma == std::string::npos || end == std::string::npos) return line;
    return line.substr(0, comma) + line.substr(end);
}

std::vector<Part> parse_script(const std::string& text) {
    std::vector<Part> parts;
    std::istringstream lines(text);
    size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.rfind("== ", 0) == 0) parts.push_back({line.substr(3), {}});
        if (parts.empty() || line.empty() || line.rfind("== ", 0) == 0) continue;
        auto& steps = parts.back().steps;
        if (line.rfind("$ ", 0) == 0) {
            steps.push_back({number, words_of(line.substr(2)), "", {}, 0});
        } else if (line.rfind("| ", 0) == 0) {
            const bool ended = line.size() < 2 || line.substr(line.size() - 2) != "\\c";
            if (!ended) line.resize(line.size() - 2);
            steps.back().input += unescaped(line.substr(2)) + (ended ? "\n" : "");
        } else if (line == "[usage]") {
            steps.back().output.push_back("Try tsport --help.");
            steps.back().status = tsport::bad_usage;
        } else if (line.front() == '[' && line.back() == ']' && line.size() == 3) {
            steps.back().status = line[1] - '0';
        } else {
            steps.back().output.push_back(line);
        }
    }
    return parts;
}

// The lines of an answer, the last one ended or not.
Lines split(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

class Tsport : public testing::Test {
  protected:
    Tsport() : home_(fs::current_path()), folder_(host::make_temporary_folder()) {
        spooler_sim::reset();
        clear_registry();
        fs::current_path(path_of(folder_));
        closed_.refuse();
    }
    ~Tsport() override {
        std::error_code ignored;
        servers_.clear();
        fs::current_path(home_, ignored);
        fs::remove_all(path_of(folder_), ignored);
    }

    tsport::Answer run(Lines arguments, const std::string& input = "", bool with_store = true) const {
        if (with_store) arguments.insert(arguments.begin(), {"--store", "store"});
        std::istringstream stream(input);
        return tsport::run(arguments, {stream});
    }

    // Every line of an answer against one that is expected.
    void expect_lines(Lines expected, const Lines& lines) const {
        for (std::string& line : expected) {
            replace_all(line, "<printer>", std::to_string(printer_.port()));
            replace_all(line, "<closed>", std::to_string(closed_.port()));
        }
        bool same = expected.size() == lines.size();
        for (size_t i = 0; same && i < lines.size(); ++i) {
            same = expected[i].rfind("~ ", 0) == 0 ? lines[i].find(expected[i].substr(2)) != std::string::npos
                                                   : without_system_text(expected[i]) == without_system_text(lines[i]);
        }
        EXPECT_TRUE(same) << "expected " << testing::PrintToString(expected) << "\n   found "
                          << testing::PrintToString(lines);
    }

    void take(const Step& step, bool with_store, bool with_status = true) const {
        Lines words = step.words;
        for (std::string& word : words) {
            replace_all(word, "<printer>", std::to_string(printer_.port()));
            replace_all(word, "<closed>", std::to_string(closed_.port()));
        }
        SCOPED_TRACE("line " + std::to_string(step.line) + ": " + testing::PrintToString(words));
        if (words[0] == "write") {
            ASSERT_TRUE(write_file(path_of(words[1]), step.input));
        } else if (words[0] == "cat") {
            Lines expected = step.output;
            for (std::string& line : expected) line = unescaped(line);
            expect_lines(expected, split(read_file(path_of(words[1]))));
        } else {
            ASSERT_EQ(words[0], "tsport");
            const tsport::Answer answer = run({words.begin() + 1, words.end()}, step.input, with_store);
            EXPECT_TRUE(!with_status || answer.status == step.status) << answer.status;
            expect_lines(step.output, split(answer.out + answer.err));
        }
    }

    // A monitor of its own, with these ports.
    struct Server {
        tsport::Store store;
        host::MonitorHost monitor;
    };
    void add_server(const Text& name, const std::vector<tsport::Port>& ports) {
        auto server = std::make_unique<Server>();
        host::MonitorHost::Options options;
        std::string why;
        options.library = host::executable_folder() + "/" + host::monitor_file_name();
        options.hive = server->store.hive();
        options.registry_path = server->store.path();
        options.simulated_server = name;
        spooler_sim::add_server(name);
        ASSERT_TRUE(server->store.write(ports) && server->monitor.load(options, why)) << why;
        servers_.push_back(std::move(server));
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

    const fs::path home_;
    const std::string folder_;
    test_printer::TcpPrinter printer_;
    test_printer::TcpPrinter closed_;
    std::vector<std::unique_ptr<Server>> servers_;
};

TEST_F(Tsport, AnswersAsWritten) {
    const std::vector<Part> parts = parse_script(source_file("document/tsport.txt"));
    ASSERT_GT(parts.size(), 10u);
    for (const Part& part : parts) {
        SCOPED_TRACE(part.title);
        const bool with_servers = part.title.find("(servers)") != std::string::npos;
        for (const fs::directory_entry& entry : fs::directory_iterator(".")) fs::remove_all(entry.path());
        spooler_sim::reset();
        if (with_servers) add_servers();
        if (part.title.find("IP_1") != std::string::npos) spooler_sim::add_foreign_port(W("IP_1"));
        spooler_sim::set_administrator(part.title.rfind("no administrator", 0) != 0);
        for (const Step& step : part.steps) take(step, !with_servers);
        servers_.clear();
    }
}

// The examples of README.md that begin with "$", one after the other in one folder.
TEST_F(Tsport, AnswersAsTheReadmeShows) {
    std::string script = "== README\n";
    std::istringstream lines(source_file("../README.md"));
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        inside = line.rfind("    ", 0) == 0 && (inside || line.rfind("    $ ", 0) == 0);
        if (inside) script += line.substr(4);
        script += "\n";
    }
    const Part part = parse_script(script).at(0);
    ASSERT_GT(part.steps.size(), 10u);
    for (const Step& step : part.steps) take(step, true, false);
}

TEST_F(Tsport, EveryVerbHasItsHelp) {
    const std::string general = run({"--help"}).out;
    for (const char* const verb : {"list", "show", "add", "set", "delete", "test", "exists", "export", "import", "diff",
                                   "doctor", "report", "completion"}) {
        const std::string help = run({verb, "--help"}).out;
        EXPECT_EQ(help.rfind(std::string("usage: tsport ") + verb, 0), 0u) << verb;
        EXPECT_NE(help.find(std::string("examples:\n  tsport ") + verb), std::string::npos) << verb;
        EXPECT_NE(general.find(std::string("\n  ") + verb + " "), std::string::npos) << verb;
        EXPECT_EQ(run({"help", verb}).out, help);
        EXPECT_EQ(run({verb, "/?"}).out, help);
    }
    for (const char* const word : {"-h", "/?", "help"}) EXPECT_EQ(run({word}).out, general) << word;
    EXPECT_EQ(run({"help", "frobnicate"}).status, tsport::bad_usage);
    EXPECT_FALSE(fs::exists("store"));
}

// What a terminal would obey is escaped, and what is no text becomes U+FFFD; a parser reads the same from it.
TEST(Json, TextsOfAnyKind) {
    const struct {
        const char* text;
        const char* json;
    } rows[] = {
        {"a, b: \"c\" \\", R"("a, b: \"c\" \\")"},
        {"\x1B[2J\t", R"("\u001B[2J\t")"},
        {"\xC3\xBC\xE6\x97\xA5", "\"\xC3\xBC\xE6\x97\xA5\""},
        {"\xC3\xBC \xC2\x9B", R"("\u00FC \u009B")"},
        {"\xF0\x9F\x96\xA8\xE2\x80\xA8", R"("\uD83D\uDDA8\u2028")"},
        {"\xC3(", "\"\xEF\xBF\xBD(\""},
    };
    for (const auto& row : rows) {
        const std::string json = tsport::json_line([&](tsport::JsonWriter& writer) {
            writer.member("text", row.text);
            writer.member("none", std::optional<std::uint32_t>());
        });
        EXPECT_EQ(json, "{\"text\": " + std::string(row.json) + ", \"none\": null}\n");
    }
}

// -- The store -------------------------------------------------------------------------------------------------------

TEST_F(Tsport, ExportAndImportGiveBackTheSamePorts) {
    const Lines names = {"plain",
                         "two  blanks",
                         "#1",
                         "q\"uote\"",
                         "%41",
                         "'single'",
                         "\xC3\xBC\xD0\x96\xE6\x97\xA5",
                         "\xF0\x9F\x96\xA8",
                         "\xE2\x80\x9C curly",
                         std::string(64, 'n')};
    for (const std::string& name : names) {
        ASSERT_EQ(run({"add", name, name.size() == 64 ? std::string(128, 'a') : "a\"b"}).status, tsport::done) << name;
    }
    const std::string list = run({"list", "--json"}).out;
    for (const std::string file : {"r\xC3\xBCstung.txt", "r\xC3\xBCstung.csv"}) {
        EXPECT_EQ(run({"export", file}).out, "10 ports written to " + file + "\n");
        EXPECT_EQ(run({"diff", file}).out, "no differences\n");
        EXPECT_EQ(run({"delete", "*"}).status, tsport::done);
        EXPECT_EQ(run({"list"}).out, "no ports\n");
        EXPECT_EQ(run({"import", file}).status, tsport::done);
        EXPECT_EQ(run({"list", "--json"}).out, list);
    }
}

TEST_F(Tsport, AHostedLibraryKeepsAwayFromAPrintServer) {
    ASSERT_TRUE(host::store_install_path(W("C:\\service")));
    EXPECT_EQ(run({"list"}).status, tsport::refused);
}

TEST_F(Tsport, OneProcessAtATimeChangesAStore) {
    ASSERT_EQ(run({"add", "A", "h"}).status, tsport::done);
    const std::string before = read_file("store");
    tsport::FileLock lock;
    std::string why;
    ASSERT_EQ(lock.try_take("store", why), tsport::FileLock::Result::taken) << why;
    for (const Lines& change : {Lines{"add", "B", "h"}, Lines{"delete", "A"}, Lines{"set", "A", "h2"}}) {
        Lines arguments = change;
        arguments.insert(arguments.end(), {"--wait", "0"});
        const tsport::Answer answer = run(arguments);
        EXPECT_EQ(answer.status, tsport::refused);
        EXPECT_NE(answer.err.find("another process is changing store"), std::string::npos) << answer.err;
    }
    EXPECT_EQ(run({"delete", "A", "--dry-run"}).status, tsport::done) << "who only looks need not wait";
    EXPECT_EQ(run({"list", "--names"}).out, "A\n");
    EXPECT_EQ(read_file("store"), before);
}

TEST_F(Tsport, TwoProcessesLoseNoChange) {
    const Text program = host::windows_path(host::executable_folder() + "/document_tests");
    // A share of the cases is this process's business.
    for (const char* const name : {"GTEST_TOTAL_SHARDS", "GTEST_SHARD_INDEX"}) set_variable(name, nullptr);
    std::vector<std::thread> processes;
    // They are no shards of this program, which may be one.
    static char no_shards[] = "GTEST_TOTAL_SHARDS=1";
    static char no_index[] = "GTEST_SHARD_INDEX=0";
    putenv(no_shards);
    putenv(no_index);
    for (const std::string number : {"1", "2"}) {
        processes.emplace_back([&, number] {
            const std::string output =
                run_child(program + W(" --gtest_also_run_disabled_tests --gtest_filter=*DISABLED_AddsAHundredPorts ") +
                          host::to_text("--gtest_output= --gtest_random_seed=" + number))
                    .output;
            EXPECT_NE(output.find("[  PASSED  ] 1 test."), std::string::npos) << output;
        });
    }
    for (std::thread& process : processes) process.join();
    EXPECT_EQ(split(run({"list", "--names"}).out).size(), 200u);
    EXPECT_FALSE(fs::exists("store.lock"));
}

// One of the processes of the test above, distinguished by its seed.
TEST(TsportProcess, DISABLED_AddsAHundredPorts) {
    for (int i = 0; i < 100; ++i) {
        const std::string name = std::to_string(GTEST_FLAG_GET(random_seed)) + " " + std::to_string(i);
        const tsport::Answer answer = tsport::run({"--wait", "300", "--store", "store", "add", name, "h"});
        EXPECT_EQ(answer.status, tsport::done) << answer.err;
    }
}

}  // namespace
}  // namespace test
