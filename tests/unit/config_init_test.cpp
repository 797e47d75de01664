// The set-up for a base directory: derived directories, the rules of the printing modes, the dump.
#include <algorithm>
#include <map>

#include "common/config.h"
#include "common/util.h"
#include "tests/unit/log_fixture.h"

namespace {

const SessionContext& c = session_context;

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
    // The lines with what differs from one machine to the next replaced.
    static Strings without(Strings lines, const std::vector<std::pair<std::string, std::string>>& replacements) {
        for (std::string& line : lines) {
            for (const auto& [text, word] : replacements) {
                const size_t place = line.find(text);
                if (place != std::string::npos) line.replace(place, text.size(), word);
            }
        }
        return lines;
    }
    // The lines of the dump; `before` gets what was logged ahead of it.
    Strings dump(Strings* before) {
        const Strings lines = logged();
        const auto start = std::find(lines.begin(), lines.end(), "DEBUG: Dump of Session Context:");
        before->assign(lines.begin(), start);
        return start == lines.end() ? Strings{} : Strings(start + 1, lines.end());
    }
};

TEST_F(ConfigInit, DerivesTheDefaults) {
    EXPECT_EQ(init("# nothing but\nDebug=on\n"), 1);
    const std::string name = c.server_name;
    EXPECT_EQ(name.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos);
    Strings lines;
    dump(&lines);
    EXPECT_EQ(lines.size(), 19u);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "DEBUG: got computer name of: \"" + name + "\""), 1);
    EXPECT_EQ(digest_of(without(lines, {{base(), "<base>"}, {name, "<name>"}})), "fb492632ef4cc22b")
        << testing::PrintToString(lines);
    EXPECT_EQ((Strings{c.hpc_spool_dir_path, c.settings_spool_dir_path, c.notapproved_jobs_spool_dir_path,
                       c.forceattr_spool_dir_path}),
              (Strings{path("spool\\hpc"), path("spool\\settings"), path("spool\\notapprovedjobs"),
                       path("spool\\forceattr")}));
}

// A value of its own for each setting shows that each is stored in, and dumped from, its own field.
TEST_F(ConfigInit, DumpsEverySettingOfTheFile) {
    std::string conf = "Debug=dev\n";
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) {
        const ConfigVar& var = config_vars[i];
        const std::string number = std::to_string(1000 + i);
        if (var.type == CONFIG_VAR_INT) conf += std::string(var.name) + "=" + number + "\r\n";
        if (var.type == CONFIG_VAR_BOOL) conf += std::string(var.name) + (var.default_integer ? "=off\n" : "=on\n");
        if (var.type == CONFIG_VAR_STRING) conf += std::string(var.name) + "=t" + number + "\n";
    }
    conf +=
        "TLSMinProtocolVersion=tlsv1.0\nTLSMaxProtocolVersion=tlsv1.3\nServerName=Srv\nErrorPollMethod=both\n"
        "CheckHeldJobMillis=1234\nLogRotateCheckCount=0\n";
    EXPECT_EQ(init(conf), 1);
    Strings before;
    const Strings lines = dump(&before);
    EXPECT_EQ(lines.size(), 145u);
    EXPECT_EQ(digest_of(without(lines, {{base(), "<base>"}})), "59dd4da652869819") << testing::PrintToString(lines);
    EXPECT_EQ(c.encrypted_debug_dir_path, c.encrypted_spool_dir_path + std::string("\\debug"));
    EXPECT_EQ(std::string({c.saved_spool_dir_path[0], c.hpc_spool_dir_path[0]}), "tt") << "as the file says";
}

// Some lines are there only when their setting says something.
TEST_F(ConfigInit, LeavesOutOfTheDumpWhatIsNotSet) {
    std::map<std::string, std::string> conditional = {
        {"ignore_document_names", "IgnoreDocumentNames=x\n"},
        {"ignore_os_document_names", "IgnoreOSDocumentNames=x\n"},
        {"check_held_job_delete_on_unpause", "CheckHeldDeleteOnUnpause=off\n"},
        {"app_server_api_key", "ApplicationServerApiKey=x\n"},
        {"username_override_prefix", "UsernameOverridePrefix=x\n"},
        {"username_override_suffix", "UsernameOverrideSuffix=x\n"}};
    for (const std::string number : {"1", "2", "3", "4", "5"}) {
        conditional["hwcheck_model" + number] = "HWCheckModel" + number + "=x\n";
        conditional["username_override_regex" + number] = "UsernameOverrideRegex" + number + "=x\n";
    }
    const auto labels = [this](const std::string& conf) {
        EXPECT_EQ(init("Debug=on\n" + conf), 1);
        Strings ignored;
        Strings found;
        for (const std::string& line : dump(&ignored)) found.push_back(line.substr(7, line.find(": ", 7) - 7));
        return found;
    };
    std::string all_set;
    for (const auto& [label, entry] : conditional) all_set += entry;
    const Strings all = labels(all_set);
    conditional[""] = "";
    for (const auto& [set, entry] : conditional) {
        Strings expected;
        for (const std::string& label : all) {
            if (label == set || conditional.count(label) == 0) expected.push_back(label);
        }
        EXPECT_EQ(labels(entry), expected);
        EXPECT_EQ(expected.size(), all.size() + (set.empty() ? 0 : 1) - conditional.size() + 1);
    }
    for (const auto& [method, word] :
         {std::pair{"snmp", "snmp"}, {"snmpdontsetos", "snmp (no os update)"}, {"os", "os"}, {"both", "os and snmp"}}) {
        init(std::string("Debug=on\nErrorPollMethod=") + method);
        const Strings lines = logged();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), std::string("DEBUG: error_poll_method: ") + word), 1);
    }
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
    EXPECT_EQ(c.spool_dir_path + std::to_string(c.use_tls), "0") << "back at the defaults";
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
    const struct {
        const char* conf;
        std::vector<int32_t> after;  // direct, serverless, error checks, start/stop, events off, time-out, retries
        const char* lines;           // by their number
    } cases[] = {
        {"", {0, 0, 1, 1, 0, 10000, 2}, ""},
        {"RollwickClientSupport=on\n", {1, 0, 0, 0, 1, 3000, 0}, "023456"},
        {"DirectPrintingMode=on\n", {1, 0, 0, 0, 1, 3000, 0}, "23456"},
        {"ServerlessPrintingMode=on\nRollwickClientSupport=on\n", {0, 1, 0, 0, 1, 3000, 0}, "23456"},
        {"ServerlessPrintingMode=on\nDirectPrintingMode=on\n", {0, 1, 0, 0, 1, 3000, 0}, "123456"},
        {"DirectPrintingMode=on\nConnectTimeout=5000\nProcessJobConnectRetries=1\n", {1, 0, 0, 0, 1, 5000, 1}, "234"},
        {"DirectPrintingMode=on\nServerEventsDisable=on\nEnableErrorChecks=off\n", {1, 0, 0, 0, 1, 3000, 0}, "356"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(init(row.conf, "15"), 1);
        EXPECT_EQ((std::vector{c.direct_printing_mode, c.serverless_printing_mode, c.enable_error_checks,
                               c.application_log_start_stop, c.server_events_disable, c.connect_timeout_ms,
                               c.process_job_connect_retries}),
                  row.after)
            << row.conf;
        Strings expected;
        for (const char digit : std::string(row.lines)) expected.push_back(forced[static_cast<size_t>(digit - '0')]);
        EXPECT_EQ(logged(), expected) << row.conf;
    }
}

TEST_F(ConfigInit, DumpsByTheEnvironmentsVersion) {
    const std::string tail = " will not work with current env_var=";
    // clang-format off
    const struct {
        const char* env_version;
        const char* mode;
        std::string line;  // of the mode
        long transform_lines;
    } cases[] = {
        {"11", "TLS", "DEBUG: env_version: 11", 6},
        {"10", "DirectPrintingMode", "ERROR: direct_printing_mode: 1" + tail + "10. Minimum env_var required is: 13.", 0},
        {"13", "ServerlessPrintingMode", "ERROR: serverless_printing_mode: 1" + tail + "13. Minimum env_var required is: 14.", 6},
        {"13", "DirectPrintingMode", "DEBUG: direct_printing_mode: 1", 6},
        {"14", "ServerlessPrintingMode", "DEBUG: serverless_printing_mode: 1", 6},
    };
    // clang-format on
    for (const auto& row : cases) {
        init(std::string("Debug=on\n") + row.mode + "=on\n", row.env_version);
        EXPECT_EQ(c.xvp_scripts_dir_path[0] != 0, row.transform_lines != 0) << row.env_version;
        const Strings lines = logged();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), row.line), 1) << row.line;
        const auto is_transform = [](const std::string& line) { return line.starts_with("DEBUG: xvp_"); };
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), is_transform), row.transform_lines) << row.env_version;
    }
}

}  // namespace
