// The settings whose values need more than storing; see ConfigHandler.
#pragma once

#include "common/config.h"
#include "common/global.h"

void handle_debug(int32_t reset, const CountedString* value, SessionContext* context);
void handle_error_poll_method(int32_t reset, const CountedString* value, SessionContext* context);
void handle_server_name(int32_t reset, const CountedString* value, SessionContext* context);
void handle_check_held_job_millis(int32_t reset, const CountedString* value, SessionContext* context);
void handle_tls_min_version(int32_t reset, const CountedString* value, SessionContext* context);
void handle_tls_max_version(int32_t reset, const CountedString* value, SessionContext* context);
void handle_tls_ca_bundle_path(int32_t reset, const CountedString* value, SessionContext* context);
