// What a printer administrator may rely on: every setting with its default, and what the log shows of it. Kept apart
// from the tables of the code, so that a slip there does not repeat here.
#pragma once

#include <string>
#include <utility>
#include <vector>

// "<name> on|off|<integer>|text<size> <default text>|handler|ignored"; a default of "?" is this product's choice.
inline constexpr char kSettings[] = R"(
Debug handler; OnAppServerError ignored; IgnoreDocumentNames text1024; IgnoreOSDocumentNames text1024;
Logfile text1024 print-provider.log; ParseTimeout 300; ConnectTimeout 10000; NetworkTimeout 120000; TLS off;
TLSMinProtocolVersion handler; TLSMaxProtocolVersion handler; TLSVerifyCertificate off; TLSCipherSuites text4096;
TLSCABundlePath handler; ProcessJobConnectRetries 2; ApplicationServer text1024 ?; ApplicationServerPort 9191;
RedirectFallbackServer text1024; RedirectCheckPeriodSecs 60; ServerName handler; DirectPrintingMode off;
ServerlessPrintingMode off; DirectJobRedirectionSendTimeoutSecs 600; CsvLogFilePath text1024; PlainTextLinesPerPage 66;
JobReplaySpoolDir text1024; JobReplayAllowReplay on; JobReplayPollIntervalSecs 300; JobReplayResendDelayMillis 1000;
SettingsSpoolDir text1024; LocksSpoolDir text1024; HPCSpoolDir text1024; ErrorPollPeriodSecs 120;
ErrorPollActivePeriodSecs 120; ErrorPollInactivePeriodSecs 600; ErrorPollMethod handler;
ErrorPollUsePortPrinterAddress on; ErrorPollInErrorPeriodSecs 0; ErrorPollSNMPRetries 2;
ErrorPollSNMPTimeoutMillis 1000; PrinterRegisterPollPeriodsecs 3; PrenotificationPollPeriodsecs 3;
HoldJobOnErrorMs 120000; NotApprovedJobsSpoolDir text1024; IgnorePrinters text8192; IgnorePrintersSPJ text8192;
EnableGoogleCloudPrint off; CheckHeldJobMillis handler; CheckHeldWaitEventMillis 2000; CheckHeldDeleteOnUnpause on;
IgnoreTerminalServerPrinters on; IgnoreVirtualPrinters on; PreNotifications on; EnableErrorChecks on;
EnableRegisterPrinters on; RandomDelayRegisterPrintersMins 0; DocumentRenameTimeoutMs 10000;
ApplicationLogStartStop on; PrintServerName text1024; HideDocumentNames off; HideDocumentNamesText text1024 [hidden];
BaseDir text1024; PDFPrintAllowPSPassThrough on; PDFPrintForcePSGrayscale on; PDFPrintDpi 600; PDFFitToPage on;
NotApprovedFileChecking on; DoForcedAttributesInPrinterPort on; EmailToPrintUseManufacturerDefaults off;
CancelJobOnPrintedDeleted off; AlwaysRefundOnCancel off; IgnoreXPS2GDIGeneratedJob on;
IsPrintingBasedOnPortMonitor off; DoDailyServiceRefresh on; RefreshDiscardedFlagRetries 3;
ProcessJobPriority text128 BelowNormal; ManagePrinterAvailableTime on; CreateRedirectedJobPaused off;
SpoolerNotificationDelaySecMax 300; EnableHeldJobEncryption off; EncryptedSpoolDir text1024; EnableEncryptionDebug off;
MaxPrintersToMonitor 3200; DoRefreshForPrinterAttributeNotifications on; MonitorHttpPrinters off;
TessaronPortSupport on; ActiveJobsSpoolDir text1024; HeldJobsSpoolDir text1024; ActiveJobsResendDelayMillis 100;
LogRotateNumber 10; LogRotateSizeKBytes 10240; LogRotateCheckCount 200; DummyDocumentSizeBytes 24;
ForceAttributesSpoolDir text1024; ForceAttributesDebug off; SpoolDir text1024; SpooledJobsDir text1024;
EnableTransforms on; TransformsDir text1024; EnableTransformTestMode off; TransformLogsDir text1024;
TransformLogsMax 100; TransformLogsCheckSecs 300; TransformCacheLifetimeSecs 14400; AddHTTPHostHeader on;
ApplicationServerApiKey text1024; HWCheckWaitIdlePollIntervalMillis 1000; HWCheckWaitPrintingPollIntervalMillis 1000;
HWCheckWaitMaxErrorPollBackoffSecs 10; HWCheckWaitErrorIncrementSecs 2; HWCheckWaitIdleNoerrorMaxSecs 0;
HWCheckWaitPrintingNoerrorMaxSecs 40; HWCheckWaitIdleErrorMaxSecs 0; HWCheckWaitPrintingErrorMaxSecs 0;
HWCheckSnmpTimeoutSecs 2; HWCheckSnmpRetries 5; HWCheckWaitRetriesAfter 60; HWCheckStabilizationNumLoopsBefore 0;
HWCheckStabilizationNumLoopsAfter 5; HWCheckExtraTimeLoops 60;
HWCheckIgnoreErrors text1024 Service Requested|Input Tray Empty|Low Paper|Low Toner|No Toner|Output Near Full|Overdue Prevent Maintenance;
HWCheckModel1 text1024; HWCheckModel2 text1024; HWCheckModel3 text1024; HWCheckModel4 text1024; HWCheckModel5 text1024;
HWCheckPortMonitorRunAsSystem off; ServerEventsPollTimeoutMillis 90000; ServerEventsDisable off;
ServerEventsEnableOnDesktops off; SpooledJobsManagerPollTimeoutMillis 300000; SpooledJobsManagerDisable off;
SpooledJobsManagerJobProcessLimit 5; SNMPCommunity text1024 ?; SNMPMapFailureToOffline on;
SNMPDisableErrorReporting off; SNMPSamsungByteSwapModel text1024; UsernameOverridePrefix text1024;
UsernameOverrideSuffix text1024; UsernameOverrideRegex1 text1024; UsernameOverrideRegex2 text1024;
UsernameOverrideRegex3 text1024; UsernameOverrideRegex4 text1024; UsernameOverrideRegex5 text1024; Force.* ignored;
ArchiveDir text1024; SavedSpoolDir text1024; SavedSpoolKeepCount 3; SavedSpoolMaxPages 10000;
SavedSpoolMaxCopies 10000; SavedSpoolMaxDimensionCm 10000; LogDevmode off; ConvertGrayscaleRPJL on;
WatermarkPCL5MacroNumber 22; WatermarkPCL5MacroIsTemp 0; WatermarkPCL5NoGrayLevel off; WatermarkPSNoLandscape off;
EnableUnicodeSupport on; ConfigureFullPageWatermark off; FullPageWatermarkGrayLevel 127; FullPageWatermarkFontSize 8;
FullPageWatermarkPCL6ROP3 245; GzipCompress text8192; XeroxFax off; PrintEventsReportingDir text1024;
ModifySpoolDebug off; UseTimeBasedNewJobSearch off; MaxBitsPerComponent 8; RollwickClientSupport off;
RollwickClientMasterTokenPath text1024; CompositeIsGrayscale off; TreatCompositeGrayscaleImageAsColor off;
ReplacePaperAreaWithPrintingArea off; UPNSuffix text1024; PrinterDuplexOrderBackToFront text1024;
CountBlankPagesForPrinterType text1024; ReportPrintProviderUUIDToApplicationServer on;
MakeJobIdUniqueToPrintProviderInstallation off; XeroxGrayscaleConversionPJLValue text1024 BLACK_WHITE;
EnablePScriptBlack&WhiteDetection on; GiveDSCBoundingBoxPrecedence off; WaitForServerAtStartupTimeoutSecs 3600;
PreserveCupsBackendCallBehavior off;
)";

// "<format>=<setting or field>": the lines of the dump in their order.
inline constexpr char kDumpLines[] = R"(
config_file_path: %s=config_file_path; base_dir_path: %s=BaseDir; debug_logging: %d=Debug; dev_logging: %d=dev_logging;
log_file_path: %s=Logfile; parse_timeout: %d=ParseTimeout; connect_timeout_ms: %d=ConnectTimeout;
send_timeout_ms: %d=NetworkTimeout; use_tls: %s=TLS; tls_min_protocol_version: %s=TLSMinProtocolVersion;
tls_max_protocol_version: %s=tls_max_protocol_version; tls_verify_certificate: %s=TLSVerifyCertificate;
tls_cipher_suites: %s=TLSCipherSuites; tls_ca_bundle_path: %s=TLSCABundlePath; app_server_name: %s=ApplicationServer;
app_server_port: %d=ApplicationServerPort; redirect_fallback_server: %s=RedirectFallbackServer;
app_server_redirect_check_secs: %d=RedirectCheckPeriodSecs; server_name: %s=ServerName;
lines_per_page: %d=PlainTextLinesPerPage; env_version_file_path: %s=env_version_file_path; env_version: %d=env_version;
jobreplay_spool_dir_path: %s=JobReplaySpoolDir; jobreplay_poll_interval_secs: %d=JobReplayPollIntervalSecs;
jobreplay_resend_delay_millis: %d=JobReplayResendDelayMillis; jobreplay_allow_replay: %d=JobReplayAllowReplay;
spool_dir_path: %s=SpoolDir; settings_spool_dir_path: %s=SettingsSpoolDir; locks_spool_dir_path: %s=LocksSpoolDir;
activejobs_spool_dir_path: %s=ActiveJobsSpoolDir; dummy_doc_size_bytes: %d=DummyDocumentSizeBytes;
forceattr_spool_dir_path: %s=ForceAttributesSpoolDir; forceattr_debug: %d=ForceAttributesDebug;
error_poll_active_secs: %d=ErrorPollActivePeriodSecs; error_poll_inactive_secs: %d=ErrorPollInactivePeriodSecs;
error_poll_method: %s=ErrorPollMethod; error_poll_use_port_printer_addr: %d=ErrorPollUsePortPrinterAddress;
error_poll_in_error_secs: %d=ErrorPollInErrorPeriodSecs; error_poll_snmp_retries: %d=ErrorPollSNMPRetries;
error_poll_snmp_timeout_ms: %d=ErrorPollSNMPTimeoutMillis;
printer_register_poll_secs: %d=PrinterRegisterPollPeriodsecs;
prenotification_poll_secs: %d=PrenotificationPollPeriodsecs; hold_job_on_error_ms: %d=HoldJobOnErrorMs;
ignore_document_names: %s=IgnoreDocumentNames; ignore_os_document_names: %s=IgnoreOSDocumentNames;
ignore_printers: %s=IgnorePrinters; ignore_printers_spj: %s=IgnorePrintersSPJ;
ignore_terminal_server_printers: %d=IgnoreTerminalServerPrinters; ignore_virtual_printers: %d=IgnoreVirtualPrinters;
print_server_name: %s=PrintServerName; enable_pre_notifications: %d=PreNotifications;
check_held_job_ms: %d=CheckHeldJobMillis; check_held_job_delete_on_unpause: %d=CheckHeldDeleteOnUnpause;
hide_job_names: %d=HideDocumentNames; hide_job_name_text: %s=HideDocumentNamesText;
notapproved_jobs_spool_dir_path: %s=NotApprovedJobsSpoolDir; notapproved_file_checking: %d=NotApprovedFileChecking;
do_forced_attributes_in_tessaron_port: %d=DoForcedAttributesInPrinterPort;
email_to_print_use_manufacturer_defaults: %d=EmailToPrintUseManufacturerDefaults;
ignore XPS2GDI generated job: %s=IgnoreXPS2GDIGeneratedJob; do_daily_service_refresh: %s=DoDailyServiceRefresh;
register_printers_enabled: %s=EnableRegisterPrinters;
register_printers_rand_delay_mins: %d=RandomDelayRegisterPrintersMins;
document_rename_timeout_ms: %d=DocumentRenameTimeoutMs; refresh_discarded_flag_retries: %d=RefreshDiscardedFlagRetries;
process_job_priority: %s=ProcessJobPriority; manage_printer_available_time: %d=ManagePrinterAvailableTime;
create_redirected_job_paused: %d=CreateRedirectedJobPaused;
spooler_notification_delay_sec_max: %d=SpoolerNotificationDelaySecMax;
max_printers_to_monitor: %d=MaxPrintersToMonitor; xpdf_fit_to_page: %d=PDFFitToPage;
enable_google_cloud_print: %d=EnableGoogleCloudPrint; monitor_http_printers: %s=MonitorHttpPrinters;
do_refresh_for_printer_attribute_notifications: %s=DoRefreshForPrinterAttributeNotifications;
tessaron_port_support: %s=TessaronPortSupport;
hwcheck_wait_idle_poll_interval_millis: %d=HWCheckWaitIdlePollIntervalMillis;
hwcheck_wait_printing_poll_interval_millis: %d=HWCheckWaitPrintingPollIntervalMillis;
hwcheck_wait_max_error__poll_backoff_secs: %d=HWCheckWaitMaxErrorPollBackoffSecs;
hwcheck_wait_error_increment_secs: %d=HWCheckWaitErrorIncrementSecs;
hwcheck_wait_idle_noerror_max_secs: %d=HWCheckWaitIdleNoerrorMaxSecs;
hwcheck_wait_printing_noerror_max_secs: %d=HWCheckWaitPrintingNoerrorMaxSecs;
hwcheck_wait_idle_error_max_secs: %d=HWCheckWaitIdleErrorMaxSecs;
hwcheck_wait_printing_error_max_secs: %d=HWCheckWaitPrintingErrorMaxSecs;
hwcheck_stabilization_num_loops_before: %d=HWCheckStabilizationNumLoopsBefore;
hwcheck_stabilization_num_loops_after: %d=HWCheckStabilizationNumLoopsAfter;
hwcheck_extra_time_loops: %d=HWCheckExtraTimeLoops; hwcheck_snmp_retries: %d=HWCheckSnmpRetries;
hwcheck_snmp_timeout_secs: %d=HWCheckSnmpTimeoutSecs; hwcheck_wait_retries_after: %d=HWCheckWaitRetriesAfter;
hwcheck_ignore_errors: %s=HWCheckIgnoreErrors; snmp_samsung_byte_swap_model: %s=SNMPSamsungByteSwapModel;
add_http_host_header: %d=AddHTTPHostHeader; app_server_api_key: %s=ApplicationServerApiKey;
hwcheck_model1: %s=HWCheckModel1; hwcheck_model2: %s=HWCheckModel2; hwcheck_model3: %s=HWCheckModel3;
hwcheck_model4: %s=HWCheckModel4; hwcheck_model5: %s=HWCheckModel5;
username_override_prefix: '%s'=UsernameOverridePrefix; username_override_suffix: '%s'=UsernameOverrideSuffix;
username_override_regex1: '%s'=UsernameOverrideRegex1; username_override_regex2: '%s'=UsernameOverrideRegex2;
username_override_regex3: '%s'=UsernameOverrideRegex3; username_override_regex4: '%s'=UsernameOverrideRegex4;
username_override_regex5: '%s'=UsernameOverrideRegex5; spooled_jobs_spool_dir_path: %s=SpooledJobsDir;
spooled_jobs_manager_poll_timeout_ms: %d=SpooledJobsManagerPollTimeoutMillis;
spooled_jobs_manager_disable: %d=SpooledJobsManagerDisable;
spooled_jobs_manager_process_limit: %d=SpooledJobsManagerJobProcessLimit; xvp_scripts_dir_path: %s=TransformsDir;
xvp_logs_dir_path: %s=TransformLogsDir; xvp_test_mode: %d=EnableTransformTestMode; xvp_max_logs: %d=TransformLogsMax;
xvp_log_check_period_secs: %d=TransformLogsCheckSecs; xvp_printer_cache_lifetime_secs: %d=TransformCacheLifetimeSecs;
enable_unicode_support: %d=EnableUnicodeSupport; configure_full_page_watermark: %s=ConfigureFullPageWatermark;
full_page_watermark_gray_level: %d=FullPageWatermarkGrayLevel;
full_page_watermark_font_size_points: %d=FullPageWatermarkFontSize;
full_page_watermark_pcl6_rop3: 0x%02X=FullPageWatermarkPCL6ROP3; gzip print jobs sent to : %s=GzipCompress;
serverless_printing_mode: %d=ServerlessPrintingMode; job_send_timeout_ms: %d=DirectJobRedirectionSendTimeoutSecs;
direct_printing_mode: %d=DirectPrintingMode; PrintEventsReportingDir: %s=PrintEventsReportingDir;
debug_modify_spool_job: %d=ModifySpoolDebug; max_bits_per_component: %d=MaxBitsPerComponent;
enable_rw_client_support: %d=RollwickClientSupport; rw_client_master_token_path: %s=RollwickClientMasterTokenPath;
composite_is_grayscale: %d=CompositeIsGrayscale;
treat_composite_grayscale_image_as_color: %d=TreatCompositeGrayscaleImageAsColor;
replace_paper_area_with_printing_area: %d=ReplacePaperAreaWithPrintingArea; upn_suffix: %s=UPNSuffix;
printer_duplex_order_back_to_front: %s=PrinterDuplexOrderBackToFront;
count_blank_pages_for_printer_type: %s=CountBlankPagesForPrinterType;
add_print_provider_uuid_header: %d=ReportPrintProviderUUIDToApplicationServer;
print_provider_unique_job_id: %d=MakeJobIdUniqueToPrintProviderInstallation;
encrypt_held_spool_files: %d=EnableHeldJobEncryption; encrypted_spool_dir_path: %s=EncryptedSpoolDir;
enable_encryption_debug: %d=EnableEncryptionDebug;
xerox_grayscale_conversion_pjl_value: %s=XeroxGrayscaleConversionPJLValue;
enable_pscript_bw_detection: %d=EnablePScriptBlack&WhiteDetection;
give_DSC_precedence: %d=GiveDSCBoundingBoxPrecedence;
wait_for_server_at_startup_timeout_secs: %d=WaitForServerAtStartupTimeoutSecs;
preserve_cups_backend_call_behavior: %d=PreserveCupsBackendCallBehavior;
)";

// The entries of such a table, each cut at the first `separator`.
inline std::vector<std::pair<std::string, std::string>> table_entries(const std::string& table, char separator) {
    std::vector<std::pair<std::string, std::string>> entries;
    size_t start = 0;
    for (size_t end = 0; (end = table.find(';', start)) != std::string::npos; start = end + 1) {
        start = table.find_first_not_of(" \n", start);
        const std::string entry = table.substr(start, end - start);
        const size_t cut = entry.find(separator);
        entries.emplace_back(entry.substr(0, cut), entry.substr(cut + 1));
    }
    return entries;
}
