// The set-up for a base directory: derived directories, the rules of the printing modes, the dump.
#include <algorithm>
#include <map>

#include "common/util.h"
#include "tests/unit/log_fixture.h"
#include "tests/unit/settings_tables.h"

namespace {

using Values = std::map<std::string, std::string>;
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
    // The lines of the dump; `before` gets what was logged ahead of it.
    Strings dump(Strings* before) {
        const Strings lines = logged();
        const auto start = std::find(lines.begin(), lines.end(), "DEBUG: Dump of Session Context:");
        before->assign(lines.begin(), start);
        return start == lines.end() ? Strings{} : Strings(start + 1, lines.end());
    }
};

Strings expected_dump(const Values& values) {
    Strings lines;
    for (const auto& [format, source] : table_entries("dump.txt", '=')) {
        std::string value = values.at(source);
        const bool is_word = format.find("%s") != std::string::npos;
        if (value == "on") value = is_word ? "true" : "1";
        if (value == "off") value = is_word ? "false" : "0";
        if (format.ends_with("%02X")) value = "404";  // of 1028
        std::string line = format;
        const size_t place = line.find('%');
        line.replace(place, line.find_first_of("sdX", place) - place + 1, value);
        lines.push_back("DEBUG: " + line);
    }
    return lines;
}

TEST_F(ConfigInit, DerivesTheDefaults) {
    EXPECT_EQ(init("# nothing but\nDebug=on\n"), 1);
    const std::string name = c.server_name;
    EXPECT_EQ(name.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos);
    Strings expected = {"DEBUG: Config: turning on debug logging"};
    // clang-format off
    const char* const derived[][3] = {
        {"SpoolDir", "spool", "Set the spool directory to"}, {"JobReplaySpoolDir", "spool\\jobreplay", "Set jobreplay spool dir to"},
        {"ActiveJobsSpoolDir", "spool\\activejobs", "Set activejobs spool dir to"},
        {"ForceAttributesSpoolDir", "spool\\forceattr", "Set forceattr spool dir to"},
        {"HPCSpoolDir", "spool\\hpc", "Set hpc spool dir to"},
        {"SettingsSpoolDir", "spool\\settings", "Serialize settings: Set settings spool dir to"},
        {"LocksSpoolDir", "spool\\locks", "Set locks spool dir to"},
        {"HeldJobsSpoolDir", "spool\\heldjobs", "Set heldjobs spool dir to"},
        {"SpooledJobsDir", "spool\\spooledjobs", "Set spooled jobs spool dir to"},
        {"NotApprovedJobsSpoolDir", "spool\\notapprovedjobs", "Set notapproved jobs spool dir to"},
        {"EncryptedSpoolDir", "spool\\encrypted", "Set encrypted spool dir to"},
        {"", "spool\\encrypted\\debug", "Set encrypted debug dir to"},
        {"TransformsDir", "transforms", "Set transform scripts dir to"},
        {"TransformLogsDir", "transforms\\logs", "Set transform logs dir to"},
        {"SavedSpoolDir", "savedspoolfiles", "Set saved spool files dir to"},
    };
    // clang-format on
    for (const auto& [setting, folder, message] : derived) {
        if (setting == std::string("TransformsDir")) {
            expected.push_back("DEBUG: got computer name of: \"" + name + "\"");
        }
        expected.push_back(std::string("DEBUG: ") + message + " \"" + path(folder) + "\"");
        if (setting != std::string("SpoolDir")) continue;
        const std::string env = path("env-version");
        expected.push_back("DEBUG: Parsing env version file: " + env);
        expected.push_back("ERROR: Failed to open env version file: " + env + ", assuming env version: 15");
    }
    Strings before;
    dump(&before);
    EXPECT_EQ(before, expected);
    EXPECT_EQ(c.hpc_spool_dir_path, path("spool\\hpc"));
}

// A value of its own for each setting shows that each is stored in, and dumped from, its own field.
TEST_F(ConfigInit, DumpsEverySettingOfTheFile) {
    Values values = {{"Debug", "1"},
                     {"dev_logging", "1"},
                     {"env_version", "15"},
                     {"BaseDir", base()},
                     {"config_file_path", path("print-provider.conf")},
                     {"env_version_file_path", path("env-version")},
                     {"Logfile", log_path},
                     {"TLSCABundlePath", ""},
                     {"TLSMinProtocolVersion", "TLSv1.0"},
                     {"tls_max_protocol_version", "TLSv1.3"},
                     {"ServerName", "Srv"},
                     {"ErrorPollMethod", "os and snmp"},
                     {"CheckHeldJobMillis", "1234"}};
    std::string conf = "Debug=dev\n";
    int number = 1000;
    for (const auto& [name, kind] : table_entries("settings.txt", ' ')) {
        if (kind == "handler" || kind == "ignored") continue;
        std::string& value = values[name];
        value = kind == "on"    ? "off"
                : kind == "off" ? "on"
                                : (kind.starts_with("text") ? "t" : "") + std::to_string(++number);
        if (name == "FullPageWatermarkPCL6ROP3") value = "1028";
        conf += name + "=" + value + "\r\n";
    }
    conf +=
        "TLSMinProtocolVersion=tlsv1.0\nTLSMaxProtocolVersion=tlsv1.3\nServerName=Srv\nErrorPollMethod=both\n"
        "CheckHeldJobMillis=1234\nLogRotateCheckCount=0\n";
    values["DirectPrintingMode"] = "off";  // both modes are on: serverless it is
    EXPECT_EQ(init(conf), 1);
    Strings before;
    EXPECT_EQ(dump(&before), expected_dump(values));
    EXPECT_EQ(c.encrypted_debug_dir_path, values["EncryptedSpoolDir"] + "\\debug");
    EXPECT_EQ((Strings{c.saved_spool_dir_path, c.hpc_spool_dir_path, c.heldjobs_spool_dir_path}),
              (Strings{values["SavedSpoolDir"], values["HPCSpoolDir"], values["HeldJobsSpoolDir"]}));
}

// Some lines are there only when their setting says something.
TEST_F(ConfigInit, LeavesOutOfTheDumpWhatIsNotSet) {
    const std::map<std::string, std::string> conditional = {
        {"ignore_document_names", "IgnoreDocumentNames=x"},
        {"ignore_os_document_names", "IgnoreOSDocumentNames=x"},
        {"check_held_job_delete_on_unpause", "CheckHeldDeleteOnUnpause=off"},
        {"app_server_api_key", "ApplicationServerApiKey=x"},
        {"hwcheck_model1", "HWCheckModel1=x"},
        {"hwcheck_model2", "HWCheckModel2=x"},
        {"hwcheck_model3", "HWCheckModel3=x"},
        {"hwcheck_model4", "HWCheckModel4=x"},
        {"hwcheck_model5", "HWCheckModel5=x"},
        {"username_override_prefix", "UsernameOverridePrefix=x"},
        {"username_override_suffix", "UsernameOverrideSuffix=x"},
        {"username_override_regex1", "UsernameOverrideRegex1=x"},
        {"username_override_regex2", "UsernameOverrideRegex2=x"},
        {"username_override_regex3", "UsernameOverrideRegex3=x"},
        {"username_override_regex4", "UsernameOverrideRegex4=x"},
        {"username_override_regex5", "UsernameOverrideRegex5=x"},
    };
    const auto labels = [this](const std::string& conf) {
        EXPECT_EQ(init("Debug=on\n" + conf), 1);
        Strings ignored;
        Strings found;
        for (const std::string& line : dump(&ignored)) found.push_back(line.substr(7, line.find(": ", 7) - 7));
        return found;
    };
    const auto all_but = [&](const auto& left_out) {
        Strings found;
        for (const auto& [format, source] : table_entries("dump.txt", '=')) {
            const std::string label = format.substr(0, format.find(": "));
            if (!left_out(label)) found.push_back(label);
        }
        return found;
    };
    EXPECT_EQ(labels(""), all_but([&](const std::string& label) { return conditional.count(label) != 0; }));
    for (const auto& [set, entry] : conditional) {
        EXPECT_EQ(labels(entry),
                  all_but([&](const std::string& label) { return label != set && conditional.count(label) != 0; }));
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
        {"10", "DirectPrintingMode", "ERROR: direct_printing_mode: 1" + tail + "10. Minimum env_var required is: 13.", 0},
        {"13", "ServerlessPrintingMode", "ERROR: serverless_printing_mode: 1" + tail + "13. Minimum env_var required is: 14.", 6},
        {"13", "DirectPrintingMode", "DEBUG: direct_printing_mode: 1", 6},
        {"14", "ServerlessPrintingMode", "DEBUG: serverless_printing_mode: 1", 6},
    };
    // clang-format on
    for (const auto& row : cases) {
        init(std::string("Debug=on\n") + row.mode + "=on\n", row.env_version);
        const Strings lines = logged();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), row.line), 1) << row.line;
        const auto is_transform = [](const std::string& line) { return line.starts_with("DEBUG: xvp_"); };
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), is_transform), row.transform_lines) << row.env_version;
    }
}

}  // namespace
