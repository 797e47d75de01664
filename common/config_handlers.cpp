#include "common/config_handlers.h"

#include <cstdlib>

#include "common/global.h"
#include "common/log.h"

namespace {

constexpr const char* kDefaultTlsVersion = "TLSv1.2";

struct TlsVersion {
    const char* name;
    bool supported;
};

constexpr TlsVersion kTlsVersions[] = {
    {"TLSv1.3", true}, {"TLSv1.2", true}, {"TLSv1.1", true}, {"TLSv1.0", true}, {"SSLv3", false}, {"SSLv2", false},
};

bool is_word(const CountedString* value, const char* word) {
    return config_name_matches(value, word) == 0;
}

// The constant name of the version that a value asks for.
const char* tls_version_for(const CountedString* value) {
    char* const asked = counted_to_cstr(value);
    if (asked == nullptr) {
        log_error(LOG_HERE, "Couldn't verify TLS protocol version: out of memory, use %s", kDefaultTlsVersion);
        return kDefaultTlsVersion;
    }
    const TlsVersion* known = nullptr;
    for (const TlsVersion& version : kTlsVersions) {
        if (known == nullptr && util_strieq(asked, version.name)) known = &version;
    }
    const char* chosen = kDefaultTlsVersion;
    if (known == nullptr) {
        log_error(LOG_HERE, "Unknown TLS protocol version '%s' is set: use %s", asked, kDefaultTlsVersion);
    } else if (!known->supported) {
        log_error(LOG_HERE, "TLS version '%s' is not supported by Print Provider, use %s", asked, kDefaultTlsVersion);
    } else {
        chosen = known->name;
    }
    free(asked);
    return chosen;
}

void set_tls_version(bool minimum, int32_t reset, const CountedString* value, SessionContext* context) {
    const char* const version = reset != 0 ? kDefaultTlsVersion : tls_version_for(value);
    (minimum ? context->tls_min_protocol_version : context->tls_max_protocol_version) = version;
}

}  // namespace

void handle_debug(int32_t reset, const CountedString* value, SessionContext* context) {
    if (reset != 0) {
        context->debug_logging = 0;
        context->dev_logging = 0;
    } else if (is_word(value, "on")) {
        context->debug_logging = 1;
        log_debug(LOG_HERE, "Config: turning on debug logging");
    } else if (is_word(value, "dev") || is_word(value, "development")) {
        context->debug_logging = 1;
        context->dev_logging = 1;
        log_debug(LOG_HERE, "Config: turning on development logging");
    } else {
        context->debug_logging = 0;
    }
}

void handle_error_poll_method(int32_t reset, const CountedString* value, SessionContext* context) {
    if (reset != 0) {
        context->error_poll_method = 2;
    } else if (is_word(value, "os") || is_word(value, "windows")) {
        context->error_poll_method = 2;
        log_debug(LOG_HERE, "Using error polling method from OS");
    } else if (is_word(value, "snmp")) {
        context->error_poll_method = 0;
        log_debug(LOG_HERE, "Using error polling method from SNMP and set OS based on it");
    } else if (is_word(value, "snmpdontsetos")) {
        context->error_poll_method = 1;
        log_debug(LOG_HERE, "Using error polling method from SNMP and _not_ setting OS based on it");
    } else if (is_word(value, "both") || is_word(value, "osandsnmp")) {
        context->error_poll_method = 3;
        log_debug(LOG_HERE, "Using error polling method from OS and SNMP");
    }
}

void handle_server_name(int32_t reset, const CountedString* value, SessionContext* context) {
    if (reset != 0) {
        context->server_name[0] = '\0';
        return;
    }
    log_debug(LOG_HERE, "Config: set server name to: %s", value->data);
    util_strncpy(context->server_name, value->data, sizeof context->server_name);
}

void handle_check_held_job_millis(int32_t reset, const CountedString* value, SessionContext* context) {
    int32_t& period = context->check_held_job_ms;
    if (reset != 0) {
        period = 200;
        return;
    }
    if (!util_parse_int(value->data, &period)) {
        log_error(LOG_HERE, "Invalid value assigned to CheckHeldJobMillis");
        return;
    }
    if (period < 1) {
        period = -1;  // off
    } else if (period < 100) {
        period = 100;
    }
    log_debug(LOG_HERE, "Config: CheckHeldJobMillis set to: %d", period);
}

void handle_tls_min_version(int32_t reset, const CountedString* value, SessionContext* context) {
    set_tls_version(true, reset, value, context);
}

void handle_tls_max_version(int32_t reset, const CountedString* value, SessionContext* context) {
    set_tls_version(false, reset, value, context);
}

void handle_tls_ca_bundle_path(int32_t reset, const CountedString* value, SessionContext* context) {
    context->tls_ca_bundle_path[0] = '\0';
    if (reset == 0 && value->length > 0) {
        log_info(LOG_HERE, "Set TLS CA bundle path: ignore %s since OpenSSL is not used", value->data);
    }
}
