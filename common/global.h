// The process-wide configuration record, and its set-up for a base directory.
#pragma once

#include <cstdint>

// One field per setting of config_table.cpp, in its order (texts are terminated; a switch is 0 or 1), plus a few fields
// without a setting. Filled once while the monitor starts, read without a lock afterwards.
struct SessionContext {
    int32_t debug_logging;
    char ignore_document_names[1024];
    char ignore_os_document_names[1024];
    char log_file_path[1024];
    int32_t parse_timeout;
    int32_t connect_timeout_ms;
    int32_t send_timeout_ms;
    int32_t use_tls;
    const char* tls_min_protocol_version;
    const char* tls_max_protocol_version;
    int32_t tls_verify_certificate;
    char tls_cipher_suites[4096];
    char tls_ca_bundle_path[1024];
    int32_t process_job_connect_retries;
    char app_server_name[1024];
    int32_t app_server_port;
    char redirect_fallback_server[1024];
    int32_t app_server_redirect_check_secs;
    char server_name[1024];
    int32_t direct_printing_mode;
    int32_t serverless_printing_mode;
    int32_t job_send_timeout_ms;
    char csv_log_file_path[1024];
    int32_t lines_per_page;
    char jobreplay_spool_dir_path[1024];
    int32_t jobreplay_allow_replay;
    int32_t jobreplay_poll_interval_secs;
    int32_t jobreplay_resend_delay_millis;
    char settings_spool_dir_path[1024];
    char locks_spool_dir_path[1024];
    char hpc_spool_dir_path[1024];
    int32_t error_poll_active_secs;
    int32_t error_poll_inactive_secs;
    int32_t error_poll_method;
    int32_t error_poll_use_port_printer_addr;
    int32_t error_poll_in_error_secs;
    int32_t error_poll_snmp_retries;
    int32_t error_poll_snmp_timeout_ms;
    int32_t printer_register_poll_secs;
    int32_t prenotification_poll_secs;
    int32_t hold_job_on_error_ms;
    char notapproved_jobs_spool_dir_path[1024];
    char ignore_printers[8192];
    char ignore_printers_spj[8192];
    int32_t enable_google_cloud_print;
    int32_t check_held_job_ms;
    int32_t check_held_wait_event_millis;
    int32_t check_held_job_delete_on_unpause;
    int32_t ignore_terminal_server_printers;
    int32_t ignore_virtual_printers;
    int32_t enable_pre_notifications;
    int32_t enable_error_checks;
    int32_t register_printers_enabled;
    int32_t register_printers_rand_delay_mins;
    int32_t document_rename_timeout_ms;
    int32_t application_log_start_stop;
    char print_server_name[1024];
    int32_t hide_job_names;
    char hide_job_name_text[1024];
    char base_dir_path[1024];
    int32_t pdf_print_allow_ps_pass_through;
    int32_t pdf_print_force_ps_grayscale;
    int32_t pdf_print_dpi;
    int32_t xpdf_fit_to_page;
    int32_t notapproved_file_checking;
    int32_t do_forced_attributes_in_tessaron_port;
    int32_t email_to_print_use_manufacturer_defaults;
    int32_t cancel_job_on_printed_deleted;
    int32_t always_refund_on_cancel;
    int32_t ignore_xps2gdi_generated_job;
    int32_t is_printing_based_on_port_monitor;
    int32_t do_daily_service_refresh;
    int32_t refresh_discarded_flag_retries;
    char process_job_priority[128];
    int32_t manage_printer_available_time;
    int32_t create_redirected_job_paused;
    int32_t spooler_notification_delay_sec_max;
    int32_t encrypt_held_spool_files;
    char encrypted_spool_dir_path[1024];
    int32_t enable_encryption_debug;
    int32_t max_printers_to_monitor;
    int32_t do_refresh_for_printer_attribute_notifications;
    int32_t monitor_http_printers;
    int32_t tessaron_port_support;
    char activejobs_spool_dir_path[1024];
    char heldjobs_spool_dir_path[1024];
    int32_t active_jobs_resend_delay_millis;
    int32_t log_rotate_number;
    int32_t log_rotate_size_kbytes;
    int32_t log_rotate_check_count;
    int32_t dummy_doc_size_bytes;
    char forceattr_spool_dir_path[1024];
    int32_t forceattr_debug;
    char spool_dir_path[1024];
    char spooled_jobs_spool_dir_path[1024];
    int32_t enable_transforms;
    char xvp_scripts_dir_path[1024];
    int32_t xvp_test_mode;
    char xvp_logs_dir_path[1024];
    int32_t xvp_max_logs;
    int32_t xvp_log_check_period_secs;
    int32_t xvp_printer_cache_lifetime_secs;
    int32_t add_http_host_header;
    char app_server_api_key[1024];
    int32_t hwcheck_wait_idle_poll_interval_millis;
    int32_t hwcheck_wait_printing_poll_interval_millis;
    int32_t hwcheck_wait_max_error_poll_backoff_secs;
    int32_t hwcheck_wait_error_increment_secs;
    int32_t hwcheck_wait_idle_noerror_max_secs;
    int32_t hwcheck_wait_printing_noerror_max_secs;
    int32_t hwcheck_wait_idle_error_max_secs;
    int32_t hwcheck_wait_printing_error_max_secs;
    int32_t hwcheck_snmp_timeout_secs;
    int32_t hwcheck_snmp_retries;
    int32_t hwcheck_wait_retries_after;
    int32_t hwcheck_stabilization_num_loops_before;
    int32_t hwcheck_stabilization_num_loops_after;
    int32_t hwcheck_extra_time_loops;
    char hwcheck_ignore_errors[1024];
    char hwcheck_model1[1024];
    char hwcheck_model2[1024];
    char hwcheck_model3[1024];
    char hwcheck_model4[1024];
    char hwcheck_model5[1024];
    int32_t hwcheck_port_monitor_run_as_system;
    int32_t server_events_poll_timeout_millis;
    int32_t server_events_disable;
    int32_t server_events_enable_on_desktops;
    int32_t spooled_jobs_manager_poll_timeout_ms;
    int32_t spooled_jobs_manager_disable;
    int32_t spooled_jobs_manager_process_limit;
    char snmp_community[1024];
    int32_t snmp_map_failure_to_offline;
    int32_t snmp_disable_error_reporting;
    char snmp_samsung_byte_swap_model[1024];
    char username_override_prefix[1024];
    char username_override_suffix[1024];
    char username_override_regex1[1024];
    char username_override_regex2[1024];
    char username_override_regex3[1024];
    char username_override_regex4[1024];
    char username_override_regex5[1024];
    char archive_dir_path[1024];
    char saved_spool_dir_path[1024];
    int32_t saved_spool_keep_count;
    int32_t saved_spool_max_pages;
    int32_t saved_spool_max_copies;
    int32_t saved_spool_max_dimension_cm;
    int32_t log_devmode;
    int32_t convert_grayscale_rpjl;
    int32_t watermark_pcl5_macro_number;
    int32_t watermark_pcl5_macro_is_temp;
    int32_t watermark_pcl5_no_gray_level;
    int32_t watermark_ps_no_landscape;
    int32_t enable_unicode_support;
    int32_t configure_full_page_watermark;
    int32_t full_page_watermark_gray_level;
    int32_t full_page_watermark_font_size_points;
    int32_t full_page_watermark_pcl6_rop3;
    char gzip_compress[8192];
    int32_t xerox_fax;
    char print_events_reporting_dir[1024];
    int32_t debug_modify_spool_job;
    int32_t use_time_based_new_job_search;
    int32_t max_bits_per_component;
    int32_t enable_rw_client_support;
    char rw_client_master_token_path[1024];
    int32_t composite_is_grayscale;
    int32_t treat_composite_grayscale_image_as_color;
    int32_t replace_paper_area_with_printing_area;
    char upn_suffix[1024];
    char printer_duplex_order_back_to_front[1024];
    char count_blank_pages_for_printer_type[1024];
    int32_t add_print_provider_uuid_header;
    int32_t print_provider_unique_job_id;
    char xerox_grayscale_conversion_pjl_value[1024];
    int32_t enable_pscript_bw_detection;
    int32_t give_dsc_precedence;
    int32_t wait_for_server_at_startup_timeout_secs;
    int32_t preserve_cups_backend_call_behavior;

    // Not settings.
    char config_file_path[1024];       // full path of print-provider.conf
    char env_version_file_path[1024];  // full path of env-version
    char encrypted_debug_dir_path[1024];
    int32_t env_version;  // of the installed environment
    int32_t dev_logging;  // development logging, set with the setting Debug
};

// Zero, empty and off until config_init.
extern SessionContext session_context;

// Loads the configuration of a base directory: defaults, log file, print-provider.conf, env-version, the directories
// the file left empty, the rules of the printing modes; and writes it all to the log. Returns 1 when
// print-provider.conf was read; 0 when it could not be, with every setting at its default. Only on the thread that
// initialises the monitor.
int config_init(const char* base_dir);

// The steps of config_init, in its order.
void config_set_spool_subdirs(SessionContext* context);
void config_set_encrypted_dirs(SessionContext* context);
void config_set_transform_dirs(SessionContext* context);
void config_apply_mode_rules(SessionContext* context);
void config_dump(const SessionContext* context);
