// The settings, print-provider.conf and env-version.
#include <algorithm>
#include <array>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "common/config.h"
#include "common/util.h"
#include "tests/support/files.h"
#include "tests/support/same_bytes.h"
#include "tests/unit/log_fixture.h"

namespace {

const SessionContext& c = session_context;

// A file of this folder.
std::string read_source(const std::string& name) {
    return test::read_file(test::source_path(TEST_FOLDER "/unit/" + name));
}

// The first of such a text.
std::string& replace(std::string& text, const std::string& what, const std::string& by) {
    const size_t at = text.find(what);
    return at == std::string::npos ? text : text.replace(at, what.size(), by);
}

// Of each line of such a file its words, and empty ones behind them; a word may be quoted, and "-" is the empty one.
using Row = std::array<std::string, 6>;
std::vector<Row> table(const std::string& name) {
    std::vector<Row> rows;
    for (const std::string& line : split(read_source(name), "\n")) {
        if (line.starts_with("#")) continue;
        Row& row = rows.emplace_back();
        std::istringstream words(line);
        for (std::string& word : row) {
            if (words >> std::quoted(word) && word == "-") word = "";
        }
    }
    return rows;
}

class Config : public LogTest {
  protected:
    Config() { reset(); }

    static void reset() {
        config_set_defaults();
        session_context.log_rotate_check_count = 0;  // no check among the lines
    }
    // Applies a file; returns what is said on the standard error descriptor.
    Strings parse(const std::string& bytes) {
        write_bytes(path("conf"), bytes);
        testing::internal::CaptureStderr();
        EXPECT_EQ(config_parse_file(path("conf").c_str(), &session_context), 0);
        return split(testing::internal::GetCapturedStderr(), "\n");
    }
};

TEST_F(Config, HasEverySettingWithItsDefault) {
    memset(&session_context, 0x55, sizeof session_context);
    config_set_defaults();
    std::map<std::string, std::string> found;
    std::set<size_t> fields;
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) {
        const ConfigVar& var = config_vars[i];
        const char* const field = reinterpret_cast<const char*>(&session_context) + var.field;
        std::string& text = found[var.name] = std::string(1, "itnsh"[var.type]);
        if (var.type == CONFIG_VAR_STRING && var.size != 1024) text += std::to_string(var.size);
        if (var.type == CONFIG_VAR_STRING) text += std::string(" ") + field;
        if (var.type == CONFIG_VAR_BOOL || var.type == CONFIG_VAR_INT) {
            text += " " + std::to_string(*reinterpret_cast<const int32_t*>(field));
        }
        const bool shared = var.type != CONFIG_VAR_IGNORED && !fields.insert(var.field).second;
        EXPECT_EQ(shared, var.name == std::string("ErrorPollActivePeriodSecs")) << var.name;
    }
    std::map<std::string, std::string> expected;
    for (const auto& [name, kind, value, label, set, shown] : table("settings.txt")) {
        const bool has_value = kind != "h" && kind != "i";
        if (!name.empty()) expected[name] = kind + (has_value ? " " + value : "");
    }
    for (const auto& [name, text] : expected) EXPECT_EQ(found[name], text) << name;
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_EQ((std::vector{c.debug_logging, c.dev_logging, c.error_poll_method, c.check_held_job_ms, c.env_version}),
              (std::vector{0, 0, 2, 200, 15}));
    EXPECT_EQ((Strings{c.tls_min_protocol_version, c.tls_max_protocol_version, c.server_name, c.tls_ca_bundle_path}),
              (Strings{"TLSv1.2", "TLSv1.2", "", ""}));
}

TEST_F(Config, StoresValues) {
    for (Row& row : table("entries.txt")) {
        reset();
        session_context.debug_logging = 1;
        EXPECT_EQ(parse(replace(row[0], "; ", "\n")), Strings{});
        const Strings lines = logged();
        EXPECT_EQ(lines.empty() ? "" : lines.back(), row[2]) << row[0];
        config_dump(&session_context);
        const Strings dump = logged();
        EXPECT_EQ(std::count(dump.begin(), dump.end(), "DEBUG: " + row[1]), 1) << row[0];
    }
}

TEST_F(Config, SwitchesLoggingFromTheEntryOn) {
    parse("ParseTimeout=1\nDebug=on\nParseTimeout=2\nDebug=development\nDebug=off\nDebug=nonsense\nParseTimeout=3\n");
    EXPECT_EQ(c.debug_logging, 0);
    EXPECT_EQ(c.dev_logging, 1) << "off leaves development on";
    EXPECT_EQ(logged(), (Strings{"DEBUG: Config: turning on debug logging", "DEBUG: Config: ParseTimeout set to: 2",
                                 "DEBUG: Config: turning on development logging"}));
}

TEST_F(Config, SurvivesABrokenFile) {
    using namespace std::string_literals;
    const std::string x(20'000, 'x');
    // clang-format off
    const std::string file =
        "; a comment = one\r\n \b# another = one\n\n\r\n  \b \r\nDebug=dev\r\n"               // lines 1 to 6
        " no equals sign\r\n=value\n \b =value\r\n"                                           // 7 to 9
        "ConnectTimeout=\nLogRotateNumber= \b \r\nCopyright = not this\ncopyright=whoever\n"  // 10 to 13
        "TLS =on\n\tParseTimeout=1\nParse Timeout=1\n"                                        // 14 to 16
        "ParseTimeout=\0 5\n\0ParseTimeout=6\nParseTimeout\0=7\n"s                            // 17 to 19
        "IgnorePrinters=" + x + "\n"                                      // read as 20, 21 and 22
        "NetworkTimeout=" + std::string(8176, '0') + "5\n"                // 23 ends in mid-value; 24 is the digit alone
        "TLSCipherSuites=" + std::string(5000, 't') + "\r\n"              // 25
        "GzipCompress=a\rb=c\nHideDocumentNamesText= \b two  words\t \b \r\n\b  UPNSuffix=a=b # kept\n"
        "LogRotateSizeKBytes=77";
    // clang-format on
    const std::string invalid = "Tessaron: Invalid config setting at line number: ";
    const std::string name = "Tessaron: Invalid name in config file at line number: ";
    const std::string ignoring = "Tessaron: Ignoring config entry (";
    const std::string other = " - invalid entry or for other OS";
    EXPECT_EQ(
        parse(file),
        (Strings{invalid + "7 with line: \" no equals sign\"", name + "8", name + "9",
                 ignoring + "Copyright =not this) at line: 12" + other, ignoring + "TLS =on) at line: 14" + other,
                 ignoring + "\tParseTimeout=1) at line: 15" + other, ignoring + "Parse Timeout=1) at line: 16" + other,
                 invalid + "19 with line: \"ParseTimeout\"", invalid + "21 with line: \"" + x.substr(0, 8191) + "\"",
                 invalid + "22 with line: \"" + x.substr(0, 20'000 + 15 - 2 * 8191) + "\"",
                 invalid + "24 with line: \"5\""}));
    EXPECT_EQ(c.use_tls, 0);
    EXPECT_EQ(c.parse_timeout, 300);
    EXPECT_EQ(c.connect_timeout_ms, 10000);
    EXPECT_EQ(c.log_rotate_number, 10);
    EXPECT_EQ(c.send_timeout_ms, 0);
    EXPECT_TRUE(test::same_bytes(c.ignore_printers, std::string(8191 - 15, 'x')));
    EXPECT_TRUE(test::same_bytes(c.tls_cipher_suites, std::string(4095, 't')));
    EXPECT_EQ((Strings{c.gzip_compress, c.hide_job_name_text, c.upn_suffix}),
              (Strings{"a", "two  words\t", "a=b # kept"}));
    EXPECT_EQ(c.log_rotate_size_kbytes, 77) << "the last line counts without a line end";
}

TEST_F(Config, ReadsTheEnvironmentsVersion) {
    const std::string file = path("env-version");
    const std::string none = "ERROR: No environment version found in: " + file + ", assuming env version: 15";
    const std::string bad = "ERROR: Invalid value assigned to EnvVersion";
    const std::string line = "ERROR: Invalid env version value at line number: 1";
    const std::string name = "ERROR: Invalid name in env version file at line number: 2";
    // clang-format off
    const std::tuple<const char*, int32_t, Strings> cases[] = {
        {"EnvVersion=13\r\n", 13, {}},
        {"# comment=1\n; comment\n\n \benvVERSION= \b 10x=7\n", 10, {}},
        {"envversion=12\nenvversion=x\n", 12, {bad}},
        {"envversion=x13\n", 15, {bad, none}},
        {"envversion=012\n", 12, {}},
        {"envversion=0\n", 0, {}},
        {"envversion==7\n", 15, {none}},
        {"envversion =13\nother=9\nenvversion=\n", 15, {none}},
        {"what\n=3\n", 15, {line, name, none}},
        {"", 15, {none}},
    };
    // clang-format on
    for (const auto& [bytes, version, lines] : cases) {
        reset();
        write_bytes(file, bytes);
        EXPECT_EQ(config_load_env_version(file.c_str(), &session_context), 0);
        EXPECT_EQ(c.env_version, version) << bytes;
        EXPECT_EQ(logged(), lines) << bytes;
    }
    session_context.debug_logging = 1;
    write_bytes(file, "a=\nenvversion=9");
    config_load_env_version(file.c_str(), &session_context);
    EXPECT_EQ(config_load_env_version("", &session_context), -1);
    EXPECT_EQ(logged(), (Strings{"DEBUG: Parsing env version file: " + file,
                                 "DEBUG: Empty value in env version file at line number: 1",
                                 "DEBUG: Environment version: 9", "ERROR: Invalid env version file path"}));
}

// -- The set-up for a base directory: derived directories, the rules of the printing modes, the dump -----------------

class ConfigInit : public LogTest {
  protected:
    int init(const std::string& conf, const std::string& env_version = "") {
        write_bytes(path("print-provider.conf"), "LogRotateCheckCount=0\n" + conf);  // no check among the lines
        os_file_delete(path("env-version").c_str());
        if (!env_version.empty()) write_bytes(path("env-version"), "EnvVersion=" + env_version + "\n");
        testing::internal::CaptureStderr();
        const int result = config_init(base().c_str());
        testing::internal::GetCapturedStderr();
        return result;
    }
    // What was logged before the dump, and the dump.
    std::pair<Strings, Strings> logged_parts() const {
        const Strings lines = logged();
        const auto dump = std::find(lines.begin(), lines.end(), "DEBUG: Dump of Session Context:");
        EXPECT_NE(dump, lines.end());
        return {Strings(lines.begin(), dump), Strings(dump == lines.end() ? dump : dump + 1, lines.end())};
    }
};

TEST_F(ConfigInit, DerivesTheDefaults) {
    EXPECT_EQ(init("# nothing but\nDebug=on\n"), 1);
    EXPECT_EQ(std::string(c.server_name).find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos);
    Strings expected = split(read_source("first_start.txt"), "\n");
    for (std::string& line : expected) replace(replace(line, "<base>", base()), "<computer>", c.server_name);
    const auto [before, dump] = logged_parts();
    EXPECT_EQ(before, expected);
    EXPECT_EQ(dump.size(), 145 - 16u) << "16 say nothing: some texts that are empty, and one switch that is on";
}

// A value of its own for each setting shows that each is stored in, and dumped from, its own field.
TEST_F(ConfigInit, DumpsEverySettingOfTheFile) {
    std::string conf = "Debug=dev\n";
    Strings stored;
    Strings expected;
    int number = 1000;
    for (auto [name, kind, usual, label, set, shown] : table("settings.txt")) {
        const bool is_switch = kind == "s";
        const bool is_on = usual == "0";
        std::string value = (kind.starts_with("t") ? "t" : "") + std::to_string(++number);
        if (is_switch) value = is_on ? "TRUE" : "FALSE";
        if (kind == "h" || !set.empty()) value = set;
        if (!name.empty() && !value.empty()) conf += name + "=" + value + "\r\n";
        if (kind != "i" && kind != "h" && !name.empty()) {
            stored.push_back("DEBUG: Config: " + name + " set to: " + value);
        }
        if (label.empty()) continue;
        if (is_switch) value = is_on ? "1" : "0";
        if (!shown.empty()) value = shown;
        replace(value, "<base>", base());
        if (label.ends_with("?")) {
            label.pop_back();
            value = is_on ? "true" : "false";
        } else if (label.starts_with("username_override")) {
            value = "'" + value + "'";
        }
        expected.push_back("DEBUG: " + label + ": " + value);
    }
    EXPECT_EQ(init(conf), 1);
    const auto [before, dump] = logged_parts();
    for (const std::string& line : stored) EXPECT_EQ(std::count(before.begin(), before.end(), line), 1) << line;
    ASSERT_EQ(dump.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(dump[i], expected[i]);
    EXPECT_EQ(c.encrypted_debug_dir_path, c.encrypted_spool_dir_path + std::string("\\debug"));
}

TEST_F(ConfigInit, DerivesFromWhatTheFileNames) {
    EXPECT_EQ(init("SpoolDir=D:\\sp\nLocksSpoolDir=L\nTransformsDir=T\nTLS=on\n"), 1);
    EXPECT_EQ((Strings{c.hpc_spool_dir_path, c.locks_spool_dir_path, c.xvp_logs_dir_path, c.saved_spool_dir_path}),
              (Strings{"D:\\sp\\hpc", "L", "T\\logs", path("savedspoolfiles")}));
    EXPECT_EQ(init("BaseDir=E:\\b\\\n", "10"), 1);
    EXPECT_EQ((Strings{c.spool_dir_path, c.saved_spool_dir_path, c.log_file_path, c.xvp_scripts_dir_path}),
              (Strings{"E:\\b\\spool", "E:\\b\\savedspoolfiles", log_path, ""}));
    EXPECT_EQ(config_init((base() + "\\").c_str()), 1);
    EXPECT_EQ(c.config_file_path, path("print-provider.conf"));
    os_file_delete(path("print-provider.conf").c_str());
    logged();
    testing::internal::CaptureStderr();
    EXPECT_EQ(config_init(base().c_str()), 0);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(said.starts_with("Tessaron: Failed to open config file: " + path("print-provider.conf") + ", cwd="))
        << said;
    EXPECT_EQ(logged().back(), "ERROR: Error parsing config file: " + path("print-provider.conf") + ".");
    EXPECT_STREQ(c.spool_dir_path, "") << "back at the defaults";
    EXPECT_EQ(c.use_tls, 0);
}

TEST_F(ConfigInit, AppliesTheRulesOfThePrintingModes) {
    const std::string mode = "INFO : Direct Printing Mode: ";
    const Strings forced = {
        "INFO : RollwickClientSupport is enabled, but neither DirectPrintingMode nor ServerlessPrintingMode is "
        "enabled. "
        "Assume DirectPrintingMode",
        "INFO : Both DirectPrintingMode & ServerlessPrintingMode are turned on, PrintProvider will operate in "
        "ServerlessPrintingMode.",
        mode + "forcing EnableErrorChecks=off",
        mode + "forcing AppLogStartStop=off",
        mode + "forcing ServerEventsDisable=on",
        mode + "setting ConnectTimeout=3000",
        mode + "setting ProcessJobConnectRetries=0"};
    const std::tuple<const char*, std::vector<int32_t>, const char*> cases[] = {
        {"", {0, 0, 1, 1, 0, 10000, 2}, ""},
        {"RollwickClientSupport=on\n", {1, 0, 0, 0, 1, 3000, 0}, "023456"},
        {"DirectPrintingMode=on\n", {1, 0, 0, 0, 1, 3000, 0}, "23456"},
        {"ServerlessPrintingMode=on\nRollwickClientSupport=on\n", {0, 1, 0, 0, 1, 3000, 0}, "23456"},
        {"ServerlessPrintingMode=on\nDirectPrintingMode=on\n", {0, 1, 0, 0, 1, 3000, 0}, "123456"},
        {"DirectPrintingMode=on\nConnectTimeout=5000\nProcessJobConnectRetries=1\n", {1, 0, 0, 0, 1, 5000, 1}, "234"},
        {"DirectPrintingMode=on\nServerEventsDisable=on\nEnableErrorChecks=off\n", {1, 0, 0, 0, 1, 3000, 0}, "356"},
    };
    for (const auto& [conf, after, numbers] : cases) {
        EXPECT_EQ(init(conf, "15"), 1);
        EXPECT_EQ((std::vector{c.direct_printing_mode, c.serverless_printing_mode, c.enable_error_checks,
                               c.application_log_start_stop, c.server_events_disable, c.connect_timeout_ms,
                               c.process_job_connect_retries}),
                  after)
            << conf;
        Strings expected;
        for (const char digit : std::string(numbers)) expected.push_back(forced[static_cast<size_t>(digit - '0')]);
        EXPECT_EQ(logged(), expected) << conf;
    }
}

TEST_F(ConfigInit, DumpsByTheEnvironmentsVersion) {
    const std::string tail = " will not work with current env_var=";
    // clang-format off
    const std::tuple<const char*, const char*, std::string, long> cases[] = {
        {"11", "TLS=on", "DEBUG: env_version: 11", 6},
        {"10", "DirectPrintingMode=on", "ERROR: direct_printing_mode: 1" + tail + "10. Minimum env_var required is: 13.", 0},
        {"13", "ServerlessPrintingMode=on", "ERROR: serverless_printing_mode: 1" + tail + "13. Minimum env_var required is: 14.", 6},
        {"13", "DirectPrintingMode=on", "DEBUG: direct_printing_mode: 1", 6},
        {"14", "ServerlessPrintingMode=on", "DEBUG: serverless_printing_mode: 1", 6},
    };
    // clang-format on
    for (const auto& [env_version, setting, shown, transform_lines] : cases) {
        init(std::string("Debug=on\n") + setting + "\n", env_version);
        EXPECT_EQ(c.xvp_scripts_dir_path[0] != 0, transform_lines != 0) << env_version;
        const Strings lines = logged();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), shown), 1) << shown;
        const auto count = [&lines](const char* start) {
            return std::count_if(lines.begin(), lines.end(), [=](const auto& line) { return line.starts_with(start); });
        };
        EXPECT_EQ(count("DEBUG: xvp_"), transform_lines) << env_version;
        EXPECT_EQ(count("ERROR: "), shown.starts_with("ERROR: ") ? 1 : 0) << env_version;
    }
}

}  // namespace
