#include "common/global.h"

#include <cstddef>
#include <iterator>

#include "common/config.h"
#include "common/file_names.h"
#include "common/log.h"
#include "common/os.h"
#include "common/util.h"

SessionContext session_context;

namespace {

// The versions of the environment from which on a feature exists.
constexpr int32_t kTransformsEnvVersion = 11;
constexpr int32_t kDirectEnvVersion = 13;
constexpr int32_t kServerlessEnvVersion = 14;

// Derives a directory whose setting the file left empty; false when the file named one.
template <size_t N>
bool derive(char (&field)[N], const char* directory, const char* name) {
    if (!util_is_string_empty(field)) return false;
    os_cat_path(field, N, directory, name);
    return true;
}

}  // namespace

// -- Directories -----------------------------------------------------------------------------------------------------

void config_set_spool_subdirs(SessionContext* context) {
    const char* const spool = context->spool_dir_path;
    if (derive(context->jobreplay_spool_dir_path, spool, "jobreplay")) {
        log_debug(LOG_HERE, "Set jobreplay spool dir to \"%s\"", context->jobreplay_spool_dir_path);
    }
    if (derive(context->activejobs_spool_dir_path, spool, "activejobs")) {
        log_debug(LOG_HERE, "Set activejobs spool dir to \"%s\"", context->activejobs_spool_dir_path);
    }
    if (derive(context->forceattr_spool_dir_path, spool, "forceattr")) {
        log_debug(LOG_HERE, "Set forceattr spool dir to \"%s\"", context->forceattr_spool_dir_path);
    }
    if (derive(context->hpc_spool_dir_path, spool, "hpc")) {
        log_debug(LOG_HERE, "Set hpc spool dir to \"%s\"", context->hpc_spool_dir_path);
    }
}

void config_set_encrypted_dirs(SessionContext* context) {
    if (derive(context->encrypted_spool_dir_path, context->spool_dir_path, "encrypted")) {
        log_debug(LOG_HERE, "Set encrypted spool dir to \"%s\"", context->encrypted_spool_dir_path);
    }
    os_cat_path(context->encrypted_debug_dir_path, sizeof context->encrypted_debug_dir_path,
                context->encrypted_spool_dir_path, "debug");
    log_debug(LOG_HERE, "Set encrypted debug dir to \"%s\"", context->encrypted_debug_dir_path);
}

void config_set_transform_dirs(SessionContext* context) {
    if (context->env_version < kTransformsEnvVersion) return;
    if (derive(context->xvp_scripts_dir_path, context->base_dir_path, "transforms")) {
        log_debug(LOG_HERE, "Set transform scripts dir to \"%s\"", context->xvp_scripts_dir_path);
    }
    if (derive(context->xvp_logs_dir_path, context->xvp_scripts_dir_path, "logs")) {
        log_debug(LOG_HERE, "Set transform logs dir to \"%s\"", context->xvp_logs_dir_path);
    }
}

namespace {

void set_job_dirs(SessionContext* context) {
    const char* const spool = context->spool_dir_path;
    if (derive(context->settings_spool_dir_path, spool, "settings")) {
        log_debug(LOG_HERE, "Serialize settings: Set settings spool dir to \"%s\"", context->settings_spool_dir_path);
    }
    if (derive(context->locks_spool_dir_path, spool, "locks")) {
        log_debug(LOG_HERE, "Set locks spool dir to \"%s\"", context->locks_spool_dir_path);
    }
    if (derive(context->heldjobs_spool_dir_path, spool, "heldjobs")) {
        log_debug(LOG_HERE, "Set heldjobs spool dir to \"%s\"", context->heldjobs_spool_dir_path);
    }
    if (derive(context->spooled_jobs_spool_dir_path, spool, "spooledjobs")) {
        log_debug(LOG_HERE, "Set spooled jobs spool dir to \"%s\"", context->spooled_jobs_spool_dir_path);
    }
    if (derive(context->notapproved_jobs_spool_dir_path, spool, "notapprovedjobs")) {
        log_debug(LOG_HERE, "Set notapproved jobs spool dir to \"%s\"", context->notapproved_jobs_spool_dir_path);
    }
}

// Everything the file left empty. The environment's version is read on the way: the later ones depend on it.
void set_directories(SessionContext* context) {
    if (derive(context->spool_dir_path, context->base_dir_path, "spool")) {
        log_debug(LOG_HERE, "Set the spool directory to \"%s\"", context->spool_dir_path);
    }
    config_load_env_version(context->env_version_file_path, context);
    config_set_spool_subdirs(context);
    set_job_dirs(context);
    config_set_encrypted_dirs(context);
    if (util_is_string_empty(context->server_name)) os_get_computer_name(context->server_name);
    config_set_transform_dirs(context);
    if (derive(context->saved_spool_dir_path, context->base_dir_path, "savedspoolfiles")) {
        log_debug(LOG_HERE, "Set saved spool files dir to \"%s\"", context->saved_spool_dir_path);
    }
}

}  // namespace

// -- Set-up ----------------------------------------------------------------------------------------------------------

int config_init(const char* base_dir) {
    SessionContext* const context = &session_context;
    config_set_defaults();
    util_strncpy(context->base_dir_path, base_dir, sizeof context->base_dir_path);
    os_cat_path(context->config_file_path, sizeof context->config_file_path, base_dir, kSettingsFileName);
    os_cat_path(context->env_version_file_path, sizeof context->env_version_file_path, base_dir, kEnvVersionFileName);
    os_cat_path(context->log_file_path, sizeof context->log_file_path, base_dir, kLogFileName);
    log_init_lock();
    log_set_path(context->log_file_path);
    if (config_parse_file(context->config_file_path, context) != 0) {
        log_error(LOG_HERE, "Error parsing config file: %s.", context->config_file_path);
        return 0;
    }
    set_directories(context);
    config_apply_mode_rules(context);
    config_dump(context);
    return 1;
}

void config_apply_mode_rules(SessionContext* context) {
    constexpr int32_t kDefaultConnectTimeoutMs = 10000;
    constexpr int32_t kModeConnectTimeoutMs = 3000;
    constexpr int32_t kDefaultConnectRetries = 2;
    constexpr int32_t kModeConnectRetries = 0;

    int32_t& direct = context->direct_printing_mode;
    const bool serverless = context->serverless_printing_mode != 0;
    if (context->enable_rw_client_support != 0 && direct == 0 && !serverless) {
        log_info(LOG_HERE,
                 "RollwickClientSupport is enabled, but neither DirectPrintingMode nor ServerlessPrintingMode is "
                 "enabled. Assume DirectPrintingMode");
        direct = 1;
    }
    if (direct != 0 && serverless) {
        log_info(LOG_HERE,
                 "Both DirectPrintingMode & ServerlessPrintingMode are turned on, PrintProvider will operate in "
                 "ServerlessPrintingMode.");
        direct = 0;
    }
    if (direct == 0 && !serverless) return;

    if (context->enable_error_checks != 0) {
        log_info(LOG_HERE, "Direct Printing Mode: forcing EnableErrorChecks=off");
        context->enable_error_checks = 0;
    }
    if (context->application_log_start_stop != 0) {
        log_info(LOG_HERE, "Direct Printing Mode: forcing AppLogStartStop=off");
        context->application_log_start_stop = 0;
    }
    if (context->server_events_disable == 0) {
        log_info(LOG_HERE, "Direct Printing Mode: forcing ServerEventsDisable=on");
        context->server_events_disable = 1;
    }
    if (context->connect_timeout_ms == kDefaultConnectTimeoutMs) {
        log_info(LOG_HERE, "Direct Printing Mode: setting ConnectTimeout=%d", kModeConnectTimeoutMs);
        context->connect_timeout_ms = kModeConnectTimeoutMs;
    }
    if (context->process_job_connect_retries == kDefaultConnectRetries) {
        log_info(LOG_HERE, "Direct Printing Mode: setting ProcessJobConnectRetries=%d", kModeConnectRetries);
        context->process_job_connect_retries = kModeConnectRetries;
    }
}

// -- The dump --------------------------------------------------------------------------------------------------------

namespace {

enum class DumpKind {
    text,
    text_if_set,
    text_reference,  // the field points at a constant name
    number,
    number_if_zero,
    boolean_word,  // "true" or "false"
    poll_method,
    mode,  // a printing mode: when on below its version, an error line takes the row's place
};
using enum DumpKind;

struct DumpRow {
    const char* format;
    size_t field;
    DumpKind kind;
    int32_t from_env_version = 0;  // below it the row is left out
};

#define DUMPED(field) offsetof(SessionContext, field)

// clang-format off
constexpr DumpRow kDumpRows[] = {
    {"config_file_path: %s", DUMPED(config_file_path), text},
    {"base_dir_path: %s", DUMPED(base_dir_path), text},
    {"debug_logging: %d", DUMPED(debug_logging), number},
    {"dev_logging: %d", DUMPED(dev_logging), number},
    {"log_file_path: %s", DUMPED(log_file_path), text},
    {"parse_timeout: %d", DUMPED(parse_timeout), number},
    {"connect_timeout_ms: %d", DUMPED(connect_timeout_ms), number},
    {"send_timeout_ms: %d", DUMPED(send_timeout_ms), number},
    {"use_tls: %s", DUMPED(use_tls), boolean_word},
    {"tls_min_protocol_version: %s", DUMPED(tls_min_protocol_version), text_reference},
    {"tls_max_protocol_version: %s", DUMPED(tls_max_protocol_version), text_reference},
    {"tls_verify_certificate: %s", DUMPED(tls_verify_certificate), boolean_word},
    {"tls_cipher_suites: %s", DUMPED(tls_cipher_suites), text},
    {"tls_ca_bundle_path: %s", DUMPED(tls_ca_bundle_path), text},
    {"app_server_name: %s", DUMPED(app_server_name), text},
    {"app_server_port: %d", DUMPED(app_server_port), number},
    {"redirect_fallback_server: %s", DUMPED(redirect_fallback_server), text},
    {"app_server_redirect_check_secs: %d", DUMPED(app_server_redirect_check_secs), number},
    {"server_name: %s", DUMPED(server_name), text},
    {"lines_per_page: %d", DUMPED(lines_per_page), number},
    {"env_version_file_path: %s", DUMPED(env_version_file_path), text},
    {"env_version: %d", DUMPED(env_version), number},
    {"jobreplay_spool_dir_path: %s", DUMPED(jobreplay_spool_dir_path), text},
    {"jobreplay_poll_interval_secs: %d", DUMPED(jobreplay_poll_interval_secs), number},
    {"jobreplay_resend_delay_millis: %d", DUMPED(jobreplay_resend_delay_millis), number},
    {"jobreplay_allow_replay: %d", DUMPED(jobreplay_allow_replay), number},
    {"spool_dir_path: %s", DUMPED(spool_dir_path), text},
    {"settings_spool_dir_path: %s", DUMPED(settings_spool_dir_path), text},
    {"locks_spool_dir_path: %s", DUMPED(locks_spool_dir_path), text},
    {"activejobs_spool_dir_path: %s", DUMPED(activejobs_spool_dir_path), text},
    {"dummy_doc_size_bytes: %d", DUMPED(dummy_doc_size_bytes), number},
    {"forceattr_spool_dir_path: %s", DUMPED(forceattr_spool_dir_path), text},
    {"forceattr_debug: %d", DUMPED(forceattr_debug), number},
    {"error_poll_active_secs: %d", DUMPED(error_poll_active_secs), number},
    {"error_poll_inactive_secs: %d", DUMPED(error_poll_inactive_secs), number},
    {"error_poll_method: %s", DUMPED(error_poll_method), poll_method},
    {"error_poll_use_port_printer_addr: %d", DUMPED(error_poll_use_port_printer_addr), number},
    {"error_poll_in_error_secs: %d", DUMPED(error_poll_in_error_secs), number},
    {"error_poll_snmp_retries: %d", DUMPED(error_poll_snmp_retries), number},
    {"error_poll_snmp_timeout_ms: %d", DUMPED(error_poll_snmp_timeout_ms), number},
    {"printer_register_poll_secs: %d", DUMPED(printer_register_poll_secs), number},
    {"prenotification_poll_secs: %d", DUMPED(prenotification_poll_secs), number},
    {"hold_job_on_error_ms: %d", DUMPED(hold_job_on_error_ms), number},
    {"ignore_document_names: %s", DUMPED(ignore_document_names), text_if_set},
    {"ignore_os_document_names: %s", DUMPED(ignore_os_document_names), text_if_set},
    {"ignore_printers: %s", DUMPED(ignore_printers), text},
    {"ignore_printers_spj: %s", DUMPED(ignore_printers_spj), text},
    {"ignore_terminal_server_printers: %d", DUMPED(ignore_terminal_server_printers), number},
    {"ignore_virtual_printers: %d", DUMPED(ignore_virtual_printers), number},
    {"print_server_name: %s", DUMPED(print_server_name), text},
    {"enable_pre_notifications: %d", DUMPED(enable_pre_notifications), number},
    {"check_held_job_ms: %d", DUMPED(check_held_job_ms), number},
    {"check_held_job_delete_on_unpause: %d", DUMPED(check_held_job_delete_on_unpause), number_if_zero},
    {"hide_job_names: %d", DUMPED(hide_job_names), number},
    {"hide_job_name_text: %s", DUMPED(hide_job_name_text), text},
    {"notapproved_jobs_spool_dir_path: %s", DUMPED(notapproved_jobs_spool_dir_path), text},
    {"notapproved_file_checking: %d", DUMPED(notapproved_file_checking), number},
    {"do_forced_attributes_in_tessaron_port: %d", DUMPED(do_forced_attributes_in_tessaron_port), number},
    {"email_to_print_use_manufacturer_defaults: %d", DUMPED(email_to_print_use_manufacturer_defaults), number},
    {"ignore XPS2GDI generated job: %s", DUMPED(ignore_xps2gdi_generated_job), boolean_word},
    {"do_daily_service_refresh: %s", DUMPED(do_daily_service_refresh), boolean_word},
    {"register_printers_enabled: %s", DUMPED(register_printers_enabled), boolean_word},
    {"register_printers_rand_delay_mins: %d", DUMPED(register_printers_rand_delay_mins), number},
    {"document_rename_timeout_ms: %d", DUMPED(document_rename_timeout_ms), number},
    {"refresh_discarded_flag_retries: %d", DUMPED(refresh_discarded_flag_retries), number},
    {"process_job_priority: %s", DUMPED(process_job_priority), text},
    {"manage_printer_available_time: %d", DUMPED(manage_printer_available_time), number},
    {"create_redirected_job_paused: %d", DUMPED(create_redirected_job_paused), number},
    {"spooler_notification_delay_sec_max: %d", DUMPED(spooler_notification_delay_sec_max), number},
    {"max_printers_to_monitor: %d", DUMPED(max_printers_to_monitor), number},
    {"xpdf_fit_to_page: %d", DUMPED(xpdf_fit_to_page), number},
    {"enable_google_cloud_print: %d", DUMPED(enable_google_cloud_print), number},
    {"monitor_http_printers: %s", DUMPED(monitor_http_printers), boolean_word},
    {"do_refresh_for_printer_attribute_notifications: %s", DUMPED(do_refresh_for_printer_attribute_notifications), boolean_word},
    {"tessaron_port_support: %s", DUMPED(tessaron_port_support), boolean_word},
    {"hwcheck_wait_idle_poll_interval_millis: %d", DUMPED(hwcheck_wait_idle_poll_interval_millis), number},
    {"hwcheck_wait_printing_poll_interval_millis: %d", DUMPED(hwcheck_wait_printing_poll_interval_millis), number},
    {"hwcheck_wait_max_error__poll_backoff_secs: %d", DUMPED(hwcheck_wait_max_error_poll_backoff_secs), number},
    {"hwcheck_wait_error_increment_secs: %d", DUMPED(hwcheck_wait_error_increment_secs), number},
    {"hwcheck_wait_idle_noerror_max_secs: %d", DUMPED(hwcheck_wait_idle_noerror_max_secs), number},
    {"hwcheck_wait_printing_noerror_max_secs: %d", DUMPED(hwcheck_wait_printing_noerror_max_secs), number},
    {"hwcheck_wait_idle_error_max_secs: %d", DUMPED(hwcheck_wait_idle_error_max_secs), number},
    {"hwcheck_wait_printing_error_max_secs: %d", DUMPED(hwcheck_wait_printing_error_max_secs), number},
    {"hwcheck_stabilization_num_loops_before: %d", DUMPED(hwcheck_stabilization_num_loops_before), number},
    {"hwcheck_stabilization_num_loops_after: %d", DUMPED(hwcheck_stabilization_num_loops_after), number},
    {"hwcheck_extra_time_loops: %d", DUMPED(hwcheck_extra_time_loops), number},
    {"hwcheck_snmp_retries: %d", DUMPED(hwcheck_snmp_retries), number},
    {"hwcheck_snmp_timeout_secs: %d", DUMPED(hwcheck_snmp_timeout_secs), number},
    {"hwcheck_wait_retries_after: %d", DUMPED(hwcheck_wait_retries_after), number},
    {"hwcheck_ignore_errors: %s", DUMPED(hwcheck_ignore_errors), text},
    {"snmp_samsung_byte_swap_model: %s", DUMPED(snmp_samsung_byte_swap_model), text},
    {"add_http_host_header: %d", DUMPED(add_http_host_header), number},
    {"app_server_api_key: %s", DUMPED(app_server_api_key), text_if_set},
    {"hwcheck_model1: %s", DUMPED(hwcheck_model1), text_if_set},
    {"hwcheck_model2: %s", DUMPED(hwcheck_model2), text_if_set},
    {"hwcheck_model3: %s", DUMPED(hwcheck_model3), text_if_set},
    {"hwcheck_model4: %s", DUMPED(hwcheck_model4), text_if_set},
    {"hwcheck_model5: %s", DUMPED(hwcheck_model5), text_if_set},
    {"username_override_prefix: '%s'", DUMPED(username_override_prefix), text_if_set},
    {"username_override_suffix: '%s'", DUMPED(username_override_suffix), text_if_set},
    {"username_override_regex1: '%s'", DUMPED(username_override_regex1), text_if_set},
    {"username_override_regex2: '%s'", DUMPED(username_override_regex2), text_if_set},
    {"username_override_regex3: '%s'", DUMPED(username_override_regex3), text_if_set},
    {"username_override_regex4: '%s'", DUMPED(username_override_regex4), text_if_set},
    {"username_override_regex5: '%s'", DUMPED(username_override_regex5), text_if_set},
    {"spooled_jobs_spool_dir_path: %s", DUMPED(spooled_jobs_spool_dir_path), text},
    {"spooled_jobs_manager_poll_timeout_ms: %d", DUMPED(spooled_jobs_manager_poll_timeout_ms), number},
    {"spooled_jobs_manager_disable: %d", DUMPED(spooled_jobs_manager_disable), number},
    {"spooled_jobs_manager_process_limit: %d", DUMPED(spooled_jobs_manager_process_limit), number},
    {"xvp_scripts_dir_path: %s", DUMPED(xvp_scripts_dir_path), text, kTransformsEnvVersion},
    {"xvp_logs_dir_path: %s", DUMPED(xvp_logs_dir_path), text, kTransformsEnvVersion},
    {"xvp_test_mode: %d", DUMPED(xvp_test_mode), number, kTransformsEnvVersion},
    {"xvp_max_logs: %d", DUMPED(xvp_max_logs), number, kTransformsEnvVersion},
    {"xvp_log_check_period_secs: %d", DUMPED(xvp_log_check_period_secs), number, kTransformsEnvVersion},
    {"xvp_printer_cache_lifetime_secs: %d", DUMPED(xvp_printer_cache_lifetime_secs), number, kTransformsEnvVersion},
    {"enable_unicode_support: %d", DUMPED(enable_unicode_support), number},
    {"configure_full_page_watermark: %s", DUMPED(configure_full_page_watermark), boolean_word},
    {"full_page_watermark_gray_level: %d", DUMPED(full_page_watermark_gray_level), number},
    {"full_page_watermark_font_size_points: %d", DUMPED(full_page_watermark_font_size_points), number},
    {"full_page_watermark_pcl6_rop3: 0x%02X", DUMPED(full_page_watermark_pcl6_rop3), number},
    {"gzip print jobs sent to : %s", DUMPED(gzip_compress), text},
    {"serverless_printing_mode: %d", DUMPED(serverless_printing_mode), mode, kServerlessEnvVersion},
    {"job_send_timeout_ms: %d", DUMPED(job_send_timeout_ms), number},
    {"direct_printing_mode: %d", DUMPED(direct_printing_mode), mode, kDirectEnvVersion},
    {"PrintEventsReportingDir: %s", DUMPED(print_events_reporting_dir), text},
    {"debug_modify_spool_job: %d", DUMPED(debug_modify_spool_job), number},
    {"max_bits_per_component: %d", DUMPED(max_bits_per_component), number},
    {"enable_rw_client_support: %d", DUMPED(enable_rw_client_support), number},
    {"rw_client_master_token_path: %s", DUMPED(rw_client_master_token_path), text},
    {"composite_is_grayscale: %d", DUMPED(composite_is_grayscale), number},
    {"treat_composite_grayscale_image_as_color: %d", DUMPED(treat_composite_grayscale_image_as_color), number},
    {"replace_paper_area_with_printing_area: %d", DUMPED(replace_paper_area_with_printing_area), number},
    {"upn_suffix: %s", DUMPED(upn_suffix), text},
    {"printer_duplex_order_back_to_front: %s", DUMPED(printer_duplex_order_back_to_front), text},
    {"count_blank_pages_for_printer_type: %s", DUMPED(count_blank_pages_for_printer_type), text},
    {"add_print_provider_uuid_header: %d", DUMPED(add_print_provider_uuid_header), number},
    {"print_provider_unique_job_id: %d", DUMPED(print_provider_unique_job_id), number},
    {"encrypt_held_spool_files: %d", DUMPED(encrypt_held_spool_files), number},
    {"encrypted_spool_dir_path: %s", DUMPED(encrypted_spool_dir_path), text},
    {"enable_encryption_debug: %d", DUMPED(enable_encryption_debug), number},
    {"xerox_grayscale_conversion_pjl_value: %s", DUMPED(xerox_grayscale_conversion_pjl_value), text},
    {"enable_pscript_bw_detection: %d", DUMPED(enable_pscript_bw_detection), number},
    {"give_DSC_precedence: %d", DUMPED(give_dsc_precedence), number},
    {"wait_for_server_at_startup_timeout_secs: %d", DUMPED(wait_for_server_at_startup_timeout_secs), number},
    {"preserve_cups_backend_call_behavior: %d", DUMPED(preserve_cups_backend_call_behavior), number},
};
// clang-format on
static_assert(std::size(kDumpRows) == 145);

const char* poll_method_word(int32_t method) {
    switch (method) {
        case 0:
            return "snmp";
        case 1:
            return "snmp (no os update)";
        case 2:
            return "os";
        default:
            return "os and snmp";
    }
}

void complain_of_mode(const DumpRow& row, int32_t value, int32_t env_version) {
    if (row.field == DUMPED(serverless_printing_mode)) {
        log_error(LOG_HERE,
                  "serverless_printing_mode: %d will not work with current env_var=%d. Minimum env_var required is: "
                  "%d.",
                  value, env_version, row.from_env_version);
    } else {
        log_error(LOG_HERE,
                  "direct_printing_mode: %d will not work with current env_var=%d. Minimum env_var required is: %d.",
                  value, env_version, row.from_env_version);
    }
}

template <typename T>
const T& value_of(const DumpRow& row, const SessionContext* context) {
    return *reinterpret_cast<const T*>(reinterpret_cast<const char*>(context) + row.field);
}

// The rows' formats are data, out of reach of the compile-time check; the level is tested by the caller.
void dump_text(const DumpRow& row, const char* text) {
    log_plain(LOG_DEBUG, LOG_HERE, row.format, text);
}
void dump_number(const DumpRow& row, int32_t number) {
    log_plain(LOG_DEBUG, LOG_HERE, row.format, number);
}

void dump_row(const DumpRow& row, const SessionContext* context) {
    const char* const field = &value_of<char>(row, context);
    switch (row.kind) {
        case text:
            return dump_text(row, field);
        case text_if_set:
            if (!util_is_string_empty(field)) dump_text(row, field);
            return;
        case text_reference:
            return dump_text(row, value_of<const char*>(row, context));
        case number_if_zero:
            if (value_of<int32_t>(row, context) == 0) dump_number(row, 0);
            return;
        case boolean_word:
            return dump_text(row, value_of<int32_t>(row, context) != 0 ? "true" : "false");
        case poll_method:
            return dump_text(row, poll_method_word(value_of<int32_t>(row, context)));
        case number:
        case mode:
            return dump_number(row, value_of<int32_t>(row, context));
    }
}

}  // namespace

void config_dump(const SessionContext* context) {
    log_debug(LOG_HERE, "Dump of Session Context:");
    for (const DumpRow& row : kDumpRows) {
        if (context->env_version >= row.from_env_version) {
            if (session_context.debug_logging != 0) dump_row(row, context);
        } else if (row.kind == mode && value_of<int32_t>(row, context) != 0) {
            complain_of_mode(row, value_of<int32_t>(row, context), context->env_version);
        }
    }
}
