// The settings, print-provider.conf and env-version.
#include <algorithm>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "common/config.h"
#include "common/util.h"
#include "tests/support/same_bytes.h"
#include "tests/unit/log_fixture.h"

namespace {

using C = SessionContext;
const C& c = session_context;

// Each setting: its name, its type with a text's size if that is not 1024, its default and its label in the dump, in
// the order of the dump; behind those, the ones that are not dumped. "-" is nothing. A label that ends in "?" shows
// "true" or "false".
const char kSettings[] = R"(
- none - config_file_path   BaseDir text - base_dir_path   Debug own - debug_logging   - none - dev_logging
Logfile text print-provider.log log_file_path   ParseTimeout number 300 parse_timeout
ConnectTimeout number 10000 connect_timeout_ms   NetworkTimeout number 120000 send_timeout_ms   TLS switch 0 use_tls?
TLSMinProtocolVersion own - tls_min_protocol_version   TLSMaxProtocolVersion own - tls_max_protocol_version
TLSVerifyCertificate switch 0 tls_verify_certificate?   TLSCipherSuites text4096 - tls_cipher_suites
TLSCABundlePath own - tls_ca_bundle_path   ApplicationServer text localhost app_server_name
ApplicationServerPort number 9191 app_server_port   RedirectFallbackServer text - redirect_fallback_server
RedirectCheckPeriodSecs number 60 app_server_redirect_check_secs   ServerName own - server_name
PlainTextLinesPerPage number 66 lines_per_page   - none - env_version_file_path   - none - env_version
JobReplaySpoolDir text - jobreplay_spool_dir_path   JobReplayPollIntervalSecs number 300 jobreplay_poll_interval_secs
JobReplayResendDelayMillis number 1000 jobreplay_resend_delay_millis
JobReplayAllowReplay switch 1 jobreplay_allow_replay   SpoolDir text - spool_dir_path
SettingsSpoolDir text - settings_spool_dir_path   LocksSpoolDir text - locks_spool_dir_path
ActiveJobsSpoolDir text - activejobs_spool_dir_path   DummyDocumentSizeBytes number 24 dummy_doc_size_bytes
ForceAttributesSpoolDir text - forceattr_spool_dir_path   ForceAttributesDebug switch 0 forceattr_debug
ErrorPollPeriodSecs number 120 -   ErrorPollActivePeriodSecs number 120 error_poll_active_secs
ErrorPollInactivePeriodSecs number 600 error_poll_inactive_secs   ErrorPollMethod own - error_poll_method
ErrorPollUsePortPrinterAddress switch 1 error_poll_use_port_printer_addr
ErrorPollInErrorPeriodSecs number 0 error_poll_in_error_secs   ErrorPollSNMPRetries number 2 error_poll_snmp_retries
ErrorPollSNMPTimeoutMillis number 1000 error_poll_snmp_timeout_ms
PrinterRegisterPollPeriodsecs number 3 printer_register_poll_secs
PrenotificationPollPeriodsecs number 3 prenotification_poll_secs   HoldJobOnErrorMs number 120000 hold_job_on_error_ms
IgnoreDocumentNames text - ignore_document_names   IgnoreOSDocumentNames text - ignore_os_document_names
IgnorePrinters text8192 - ignore_printers   IgnorePrintersSPJ text8192 - ignore_printers_spj
IgnoreTerminalServerPrinters switch 1 ignore_terminal_server_printers
IgnoreVirtualPrinters switch 1 ignore_virtual_printers   PrintServerName text - print_server_name
PreNotifications switch 1 enable_pre_notifications   CheckHeldJobMillis own - check_held_job_ms
CheckHeldDeleteOnUnpause switch 1 check_held_job_delete_on_unpause   HideDocumentNames switch 0 hide_job_names
HideDocumentNamesText text [hidden] hide_job_name_text   NotApprovedJobsSpoolDir text - notapproved_jobs_spool_dir_path
NotApprovedFileChecking switch 1 notapproved_file_checking
DoForcedAttributesInPrinterPort switch 1 do_forced_attributes_in_tessaron_port
EmailToPrintUseManufacturerDefaults switch 0 email_to_print_use_manufacturer_defaults
IgnoreXPS2GDIGeneratedJob switch 1 "ignore XPS2GDI generated job?"
DoDailyServiceRefresh switch 1 do_daily_service_refresh?   EnableRegisterPrinters switch 1 register_printers_enabled?
RandomDelayRegisterPrintersMins number 0 register_printers_rand_delay_mins
DocumentRenameTimeoutMs number 10000 document_rename_timeout_ms
RefreshDiscardedFlagRetries number 3 refresh_discarded_flag_retries
ProcessJobPriority text128 BelowNormal process_job_priority
ManagePrinterAvailableTime switch 1 manage_printer_available_time
CreateRedirectedJobPaused switch 0 create_redirected_job_paused
SpoolerNotificationDelaySecMax number 300 spooler_notification_delay_sec_max
MaxPrintersToMonitor number 3200 max_printers_to_monitor   PDFFitToPage switch 1 xpdf_fit_to_page
EnableGoogleCloudPrint switch 0 enable_google_cloud_print   MonitorHttpPrinters switch 0 monitor_http_printers?
DoRefreshForPrinterAttributeNotifications switch 1 do_refresh_for_printer_attribute_notifications?
TessaronPortSupport switch 1 tessaron_port_support?
HWCheckWaitIdlePollIntervalMillis number 1000 hwcheck_wait_idle_poll_interval_millis
HWCheckWaitPrintingPollIntervalMillis number 1000 hwcheck_wait_printing_poll_interval_millis
HWCheckWaitMaxErrorPollBackoffSecs number 10 hwcheck_wait_max_error__poll_backoff_secs
HWCheckWaitErrorIncrementSecs number 2 hwcheck_wait_error_increment_secs
HWCheckWaitIdleNoerrorMaxSecs number 0 hwcheck_wait_idle_noerror_max_secs
HWCheckWaitPrintingNoerrorMaxSecs number 40 hwcheck_wait_printing_noerror_max_secs
HWCheckWaitIdleErrorMaxSecs number 0 hwcheck_wait_idle_error_max_secs
HWCheckWaitPrintingErrorMaxSecs number 0 hwcheck_wait_printing_error_max_secs
HWCheckStabilizationNumLoopsBefore number 0 hwcheck_stabilization_num_loops_before
HWCheckStabilizationNumLoopsAfter number 5 hwcheck_stabilization_num_loops_after
HWCheckExtraTimeLoops number 60 hwcheck_extra_time_loops   HWCheckSnmpRetries number 5 hwcheck_snmp_retries
HWCheckSnmpTimeoutSecs number 2 hwcheck_snmp_timeout_secs   HWCheckWaitRetriesAfter number 60 hwcheck_wait_retries_after
HWCheckIgnoreErrors text "Service Requested|Input Tray Empty|Low Paper|Low Toner|No Toner|Output Near Full|Overdue Prevent Maintenance" hwcheck_ignore_errors
SNMPSamsungByteSwapModel text - snmp_samsung_byte_swap_model   AddHTTPHostHeader switch 1 add_http_host_header
ApplicationServerApiKey text - app_server_api_key   HWCheckModel1 text - hwcheck_model1
HWCheckModel2 text - hwcheck_model2   HWCheckModel3 text - hwcheck_model3   HWCheckModel4 text - hwcheck_model4
HWCheckModel5 text - hwcheck_model5   UsernameOverridePrefix text - username_override_prefix
UsernameOverrideSuffix text - username_override_suffix   UsernameOverrideRegex1 text - username_override_regex1
UsernameOverrideRegex2 text - username_override_regex2   UsernameOverrideRegex3 text - username_override_regex3
UsernameOverrideRegex4 text - username_override_regex4   UsernameOverrideRegex5 text - username_override_regex5
SpooledJobsDir text - spooled_jobs_spool_dir_path
SpooledJobsManagerPollTimeoutMillis number 300000 spooled_jobs_manager_poll_timeout_ms
SpooledJobsManagerDisable switch 0 spooled_jobs_manager_disable
SpooledJobsManagerJobProcessLimit number 5 spooled_jobs_manager_process_limit
TransformsDir text - xvp_scripts_dir_path   TransformLogsDir text - xvp_logs_dir_path
EnableTransformTestMode switch 0 xvp_test_mode   TransformLogsMax number 100 xvp_max_logs
TransformLogsCheckSecs number 300 xvp_log_check_period_secs
TransformCacheLifetimeSecs number 14400 xvp_printer_cache_lifetime_secs
EnableUnicodeSupport switch 1 enable_unicode_support
ConfigureFullPageWatermark switch 0 configure_full_page_watermark?
FullPageWatermarkGrayLevel number 127 full_page_watermark_gray_level
FullPageWatermarkFontSize number 8 full_page_watermark_font_size_points
FullPageWatermarkPCL6ROP3 number 245 full_page_watermark_pcl6_rop3   GzipCompress text8192 - "gzip print jobs sent to "
ServerlessPrintingMode switch 0 serverless_printing_mode
DirectJobRedirectionSendTimeoutSecs number 600 job_send_timeout_ms   DirectPrintingMode switch 0 direct_printing_mode
PrintEventsReportingDir text - PrintEventsReportingDir   ModifySpoolDebug switch 0 debug_modify_spool_job
MaxBitsPerComponent number 8 max_bits_per_component   RollwickClientSupport switch 0 enable_rw_client_support
RollwickClientMasterTokenPath text - rw_client_master_token_path   CompositeIsGrayscale switch 0 composite_is_grayscale
TreatCompositeGrayscaleImageAsColor switch 0 treat_composite_grayscale_image_as_color
ReplacePaperAreaWithPrintingArea switch 0 replace_paper_area_with_printing_area   UPNSuffix text - upn_suffix
PrinterDuplexOrderBackToFront text - printer_duplex_order_back_to_front
CountBlankPagesForPrinterType text - count_blank_pages_for_printer_type
ReportPrintProviderUUIDToApplicationServer switch 1 add_print_provider_uuid_header
MakeJobIdUniqueToPrintProviderInstallation switch 0 print_provider_unique_job_id
EnableHeldJobEncryption switch 0 encrypt_held_spool_files   EncryptedSpoolDir text - encrypted_spool_dir_path
EnableEncryptionDebug switch 0 enable_encryption_debug
XeroxGrayscaleConversionPJLValue text BLACK_WHITE xerox_grayscale_conversion_pjl_value
EnablePScriptBlack&WhiteDetection switch 1 enable_pscript_bw_detection
GiveDSCBoundingBoxPrecedence switch 0 give_DSC_precedence
WaitForServerAtStartupTimeoutSecs number 3600 wait_for_server_at_startup_timeout_secs
PreserveCupsBackendCallBehavior switch 0 preserve_cups_backend_call_behavior
ServerEventsPollTimeoutMillis number 90000 -   ActiveJobsResendDelayMillis number 100 -
HWCheckPortMonitorRunAsSystem switch 0 -   IsPrintingBasedOnPortMonitor switch 0 -
ServerEventsEnableOnDesktops switch 0 -   SavedSpoolMaxDimensionCm number 10000 -
CheckHeldWaitEventMillis number 2000 -   PDFPrintAllowPSPassThrough switch 1 -   CancelJobOnPrintedDeleted switch 0 -
SNMPDisableErrorReporting switch 0 -   WatermarkPCL5MacroNumber number 22 -   ProcessJobConnectRetries number 2 -
PDFPrintForcePSGrayscale switch 1 -   WatermarkPCL5MacroIsTemp number 0 -   WatermarkPCL5NoGrayLevel switch 0 -
UseTimeBasedNewJobSearch switch 0 -   ApplicationLogStartStop switch 1 -   LogRotateSizeKBytes number 10240 -
SNMPMapFailureToOffline switch 1 -   SavedSpoolMaxCopies number 10000 -   SavedSpoolMaxPages number 10000 -
WatermarkPSNoLandscape switch 0 -   HPCSpoolDir text - -   LogRotateCheckCount number 200 -
AlwaysRefundOnCancel switch 0 -   CsvLogFilePath text - -   ConvertGrayscaleRPJL switch 1 -
ServerEventsDisable switch 0 -   HeldJobsSpoolDir text - -   SavedSpoolKeepCount number 3 -
EnableErrorChecks switch 1 -   OnAppServerError ignored - -   LogRotateNumber number 10 -   EnableTransforms switch 1 -
SNMPCommunity text public -   PDFPrintDpi number 600 -   LogDevmode switch 0 -   XeroxFax switch 0 -
SavedSpoolDir text - -   Force.* ignored - -   ArchiveDir text - -
)";

struct Setting {
    std::string name;
    std::string type;
    std::string value;
    std::string label;
};

std::vector<Setting> settings() {
    std::vector<Setting> all;
    std::istringstream rows(kSettings);
    for (Setting row; rows >> row.name >> row.type >> std::quoted(row.value) >> std::quoted(row.label);) {
        for (std::string* const text : {&row.name, &row.value, &row.label}) *text = *text == "-" ? "" : *text;
        all.push_back(row);
    }
    return all;
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
    const char* const types[] = {"ignored", "text", "number", "switch", "own"};
    memset(&session_context, 0x55, sizeof session_context);
    config_set_defaults();
    std::map<std::string, std::string> found;
    std::set<size_t> fields;
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) {
        const ConfigVar& var = config_vars[i];
        const char* const field = reinterpret_cast<const char*>(&session_context) + var.field;
        std::string& text = found[var.name] = types[var.type];
        if (var.type == CONFIG_VAR_STRING && var.size != 1024) text += std::to_string(var.size);
        if (var.type == CONFIG_VAR_STRING) text += std::string(" ") + field;
        if (var.type == CONFIG_VAR_BOOL || var.type == CONFIG_VAR_INT) {
            text += " " + std::to_string(*reinterpret_cast<const int32_t*>(field));
        }
        const bool shared = var.type != CONFIG_VAR_IGNORED && !fields.insert(var.field).second;
        EXPECT_EQ(shared, var.name == std::string("ErrorPollActivePeriodSecs")) << var.name;
    }
    std::map<std::string, std::string> expected;
    for (const Setting& setting : settings()) {
        const bool has_value = setting.type != "own" && setting.type != "ignored";
        if (!setting.name.empty()) expected[setting.name] = setting.type + (has_value ? " " + setting.value : "");
    }
    for (const auto& [name, text] : expected) EXPECT_EQ(found[name], text) << name;
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_EQ(c.debug_logging, 0);
    EXPECT_EQ(c.dev_logging, 0);
    EXPECT_EQ(c.error_poll_method, 2);
    EXPECT_EQ(c.check_held_job_ms, 200);
    EXPECT_EQ(c.env_version, 15);
    EXPECT_STREQ(c.tls_min_protocol_version, "TLSv1.2");
    EXPECT_STREQ(c.tls_max_protocol_version, "TLSv1.2");
    EXPECT_STREQ(c.server_name, "");
    EXPECT_STREQ(c.tls_ca_bundle_path, "");
}

TEST_F(Config, StoresNumbersAndSwitches) {
    const std::string set = "DEBUG: Config: ";
    const std::string snmp = "DEBUG: Using error polling method from SNMP and ";
    // clang-format off
    const std::tuple<const char*, int32_t C::*, int32_t, std::string> cases[] = {
        {"TLS=yes", &C::use_tls, 1, set + "TLS set to: TRUE"},
        {"tls=TRUE", &C::use_tls, 1, set + "TLS set to: TRUE"},
        {"EnableErrorChecks=enabled", &C::enable_error_checks, 0, set + "EnableErrorChecks set to: FALSE"},
        {"ConnectTimeout=-5", &C::connect_timeout_ms, 10000, "ERROR: Invalid value assigned to ConnectTimeout"},
        {"ConnectTimeout=fast", &C::connect_timeout_ms, 10000, "ERROR: Invalid value assigned to ConnectTimeout"},
        {"CONNECTTIMEOUT=15s", &C::connect_timeout_ms, 15, set + "ConnectTimeout set to: 15"},
        {"ConnectTimeout=99999999999", &C::connect_timeout_ms, INT32_MAX, set + "ConnectTimeout set to: 2147483647"},
        {"ErrorPollPeriodSecs=7", &C::error_poll_active_secs, 7, set + "ErrorPollPeriodSecs set to: 7"},
        {"ForceAttributesDebug=on", &C::forceattr_debug, 1, set + "ForceAttributesDebug set to: TRUE"},
        {"Force.AttributesDebug=on\nOnAppServerError=x", &C::forceattr_debug, 0, ""},
        {"ErrorPollMethod=SNMP", &C::error_poll_method, 0, snmp + "set OS based on it"},
        {"ErrorPollMethod=snmpdontsetos", &C::error_poll_method, 1, snmp + "_not_ setting OS based on it"},
        {"ErrorPollMethod=snmp\nErrorPollMethod=Windows", &C::error_poll_method, 2,
         "DEBUG: Using error polling method from OS"},
        {"ErrorPollMethod=snmp\nErrorPollMethod=os", &C::error_poll_method, 2,
         "DEBUG: Using error polling method from OS"},
        {"ErrorPollMethod=both", &C::error_poll_method, 3, "DEBUG: Using error polling method from OS and SNMP"},
        {"ErrorPollMethod=osandsnmp", &C::error_poll_method, 3, "DEBUG: Using error polling method from OS and SNMP"},
        {"ErrorPollMethod=snmpx", &C::error_poll_method, 2, ""},
        {"CheckHeldJobMillis=50", &C::check_held_job_ms, 100, set + "CheckHeldJobMillis set to: 100"},
        {"CheckHeldJobMillis=101", &C::check_held_job_ms, 101, set + "CheckHeldJobMillis set to: 101"},
        {"CheckHeldJobMillis=0", &C::check_held_job_ms, -1, set + "CheckHeldJobMillis set to: -1"},
        {"CheckHeldJobMillis=x", &C::check_held_job_ms, 0, "ERROR: Invalid value assigned to CheckHeldJobMillis"},
    };
    // clang-format on
    for (const auto& [entry, field, value, line] : cases) {
        reset();
        session_context.debug_logging = 1;
        EXPECT_EQ(parse(entry), Strings{});
        EXPECT_EQ(c.*field, value) << entry;
        const Strings lines = logged();
        EXPECT_EQ(lines.empty() ? "" : lines.back(), line) << entry;
    }
}

TEST_F(Config, StoresTextsAndVersions) {
    const std::string unsupported = "' is not supported by Print Provider, use TLSv1.2";
    const std::string unknown = "ERROR: Unknown TLS protocol version 'TLSv1' is set: use TLSv1.2";
    for (const auto& [asked, stored, line] : {std::tuple{"tlsV1.3", "TLSv1.3", std::string()},
                                              {"TLSv1.2", "TLSv1.2", ""},
                                              {"tlsv1.1", "TLSv1.1", ""},
                                              {"TLSV1.0", "TLSv1.0", ""},
                                              {"sslV3", "TLSv1.2", "ERROR: TLS version 'sslV3" + unsupported},
                                              {"SSLv2", "TLSv1.2", "ERROR: TLS version 'SSLv2" + unsupported},
                                              {"TLSv1", "TLSv1.2", unknown}}) {
        for (const bool minimum : {true, false}) {
            parse(std::string(minimum ? "TLSMinProtocolVersion=" : "TLSMaxProtocolVersion=") + asked);
            EXPECT_STREQ(minimum ? c.tls_min_protocol_version : c.tls_max_protocol_version, stored);
            EXPECT_EQ(logged(), line.empty() ? Strings{} : Strings{line});
        }
    }
    parse("TLSCABundlePath=C:\\ca\nServerName=Srv\nProcessJobPriority=" + std::string(127, 'p') + "q\n");
    EXPECT_EQ(logged(), Strings{"INFO : Set TLS CA bundle path: ignore C:\\ca since OpenSSL is not used"});
    EXPECT_EQ((Strings{c.tls_ca_bundle_path, c.server_name, c.process_job_priority}),
              (Strings{"", "Srv", std::string(127, 'p')}));
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
    const std::string file =
        "; a comment = one\r\n \b# another = one\n\n\r\n  \b \r\nDebug=dev\r\n"               // lines 1 to 6
        " no equals sign\r\n=value\n \b =value\r\n"                                           // 7 to 9
        "ConnectTimeout=\nLogRotateNumber= \b \r\nCopyright = not this\ncopyright=whoever\n"  // 10 to 13
        "TLS =on\n\tParseTimeout=1\nParse Timeout=1\n"                                        // 14 to 16
        "ParseTimeout=\0 5\n\0ParseTimeout=6\nParseTimeout\0=7\n"s                            // 17 to 19
        "IgnorePrinters=" +
        x +
        "\n"  // read as 20, 21 and 22
        "NetworkTimeout=" +
        std::string(8176, '0') +
        "5\n"  // 23 ends in mid-value; 24 is the digit alone
        "TLSCipherSuites=" +
        std::string(5000, 't') +
        "\r\n"  // 25
        "GzipCompress=a\rb=c\nHideDocumentNamesText= \b two  words\t \b \r\n\b  UPNSuffix=a=b # kept\n"
        "LogRotateSizeKBytes=77";
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

// Some lines are in the dump only when their setting says something.
TEST_F(ConfigInit, DerivesTheDefaults) {
    EXPECT_EQ(init("# nothing but\nDebug=on\n"), 1);
    const std::string name = c.server_name;
    EXPECT_EQ(name.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos);
    const auto [before, dump] = logged_parts();
    const std::string env_version = path("env-version");
    const auto set = [this](const std::string& what, const std::string& folder) {
        return "DEBUG: " + what + " to \"" + path(folder) + "\"";
    };
    Strings expected = {"DEBUG: Config: turning on debug logging", set("Set the spool directory", "spool"),
                        "DEBUG: Parsing env version file: " + env_version,
                        "ERROR: Failed to open env version file: " + env_version + ", assuming env version: 15"};
    for (std::string folder : {"jobreplay", "activejobs", "forceattr", "hpc", "settings", "locks", "heldjobs",
                               "spooled jobs", "notapproved jobs", "encrypted"}) {
        const std::string prefix = folder == "settings" ? "Serialize settings: Set " : "Set ";
        const std::string what = prefix + folder + " spool dir";
        std::erase(folder, ' ');
        expected.push_back(set(what, "spool\\" + folder));
    }
    expected.insert(
        expected.end(),
        {set("Set encrypted debug dir", "spool\\encrypted\\debug"), "DEBUG: got computer name of: \"" + name + "\"",
         set("Set transform scripts dir", "transforms"), set("Set transform logs dir", "transforms\\logs"),
         set("Set saved spool files dir", "savedspoolfiles")});
    EXPECT_EQ(before, expected);
    std::set<std::string> labels = {"ignore_document_names", "ignore_os_document_names", "app_server_api_key",
                                    "check_held_job_delete_on_unpause"};
    for (const Setting& setting : settings()) {
        const std::string& label = setting.label;
        if (label.starts_with("hwcheck_model") || label.starts_with("username_override")) labels.insert(label);
    }
    EXPECT_EQ(labels.size(), 16u);
    for (const std::string& line : dump) labels.insert(line.substr(7, line.find(':', 7) - 7));
    EXPECT_EQ(dump.size(), 145 - 16u);
    EXPECT_EQ(labels.size(), 145u) << "none of those that say nothing";
}

// A value of its own for each setting shows that each is stored in, and dumped from, its own field.
TEST_F(ConfigInit, DumpsEverySettingOfTheFile) {
    // Those that take a value of another kind, or are changed afterwards.
    // clang-format off
    std::map<std::string, std::string> shown = {
        {"config_file_path", path("print-provider.conf")}, {"env_version_file_path", path("env-version")},
        {"env_version", "15"}, {"debug_logging", "1"}, {"dev_logging", "1"}, {"server_name", "Srv"},
        {"tls_min_protocol_version", "TLSv1.0"}, {"tls_max_protocol_version", "TLSv1.3"}, {"tls_ca_bundle_path", ""},
        {"error_poll_method", "os and snmp"}, {"check_held_job_ms", "1234"}, {"direct_printing_mode", "0"},
        {"full_page_watermark_pcl6_rop3", "0x1F4"},
    };
    // clang-format on
    std::string conf = "Debug=dev\n";
    Strings stored = {"DEBUG: Config: turning on development logging"};
    Strings expected;
    int number = 1000;
    for (const Setting& setting : settings()) {
        const bool is_switch = setting.type == "switch";
        const bool is_on = setting.value == "0";
        std::string value = (setting.type.starts_with("text") ? "t" : "") + std::to_string(++number);
        if (is_switch) value = is_on ? "TRUE" : "FALSE";
        if (is_switch || setting.type == "number" || setting.type.starts_with("text")) {
            conf += setting.name + "=" + value + "\r\n";
            stored.push_back("DEBUG: Config: " + setting.name + " set to: " + value);
        }
        if (setting.label.empty()) continue;
        std::string label = setting.label;
        if (is_switch) value = is_on ? "1" : "0";
        if (shown.contains(label)) value = shown[label];
        if (label.ends_with("?")) {
            label.pop_back();
            value = is_on ? "true" : "false";
        } else if (label.starts_with("username_override")) {
            value = "'" + value + "'";
        }
        expected.push_back("DEBUG: " + label + ": " + value);
    }
    conf +=
        "TLSMinProtocolVersion=tlsv1.0\nTLSMaxProtocolVersion=tlsv1.3\nServerName=Srv\nErrorPollMethod=both\n"
        "CheckHeldJobMillis=1234\nLogRotateCheckCount=0\nFullPageWatermarkPCL6ROP3=500\n";
    EXPECT_EQ(init(conf), 1);
    auto [before, dump] = logged_parts();
    before.resize(stored.size());
    for (size_t i = 0; i < stored.size(); ++i) EXPECT_EQ(before[i], stored[i]);
    ASSERT_EQ(dump.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(dump[i], expected[i]);
    EXPECT_EQ(c.encrypted_debug_dir_path, c.encrypted_spool_dir_path + std::string("\\debug"));
}

TEST_F(ConfigInit, DumpsTheErrorPollMethodInWords) {
    for (const auto& [method, shown] :
         {std::pair{"snmp", "snmp"}, {"snmpdontsetos", "snmp (no os update)"}, {"os", "os"}, {"both", "os and snmp"}}) {
        EXPECT_EQ(init(std::string("Debug=on\nErrorPollMethod=") + method), 1);
        const Strings lines = logged();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), std::string("DEBUG: error_poll_method: ") + shown), 1);
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
        {"11", "TLS", "DEBUG: env_version: 11", 6},
        {"10", "DirectPrintingMode", "ERROR: direct_printing_mode: 1" + tail + "10. Minimum env_var required is: 13.", 0},
        {"13", "ServerlessPrintingMode", "ERROR: serverless_printing_mode: 1" + tail + "13. Minimum env_var required is: 14.", 6},
        {"13", "DirectPrintingMode", "DEBUG: direct_printing_mode: 1", 6},
        {"14", "ServerlessPrintingMode", "DEBUG: serverless_printing_mode: 1", 6},
    };
    // clang-format on
    for (const auto& [env_version, mode, mode_line, transform_lines] : cases) {
        init(std::string("Debug=on\n") + mode + "=on\n", env_version);
        EXPECT_EQ(c.xvp_scripts_dir_path[0] != 0, transform_lines != 0) << env_version;
        const Strings lines = logged();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), mode_line), 1) << mode_line;
        const auto is_transform = [](const std::string& line) { return line.starts_with("DEBUG: xvp_"); };
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), is_transform), transform_lines) << env_version;
        const auto is_error = [](const std::string& line) { return line.starts_with("ERROR: "); };
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), is_error), is_error(mode_line) ? 1 : 0) << env_version;
    }
}

}  // namespace
