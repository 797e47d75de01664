#include "winportmon/tsmon/helper.h"

#include <cstdlib>
#include <cstring>

#include "common/enc.h"
#include "common/global.h"
#include "common/log.h"
#include "common/util.h"
#include "winportmon/contract/names.h"

namespace tsmon {
namespace {

constexpr const char* kInstallPathKeys[] = {INSTALL_PATH_KEY, SECOND_INSTALL_PATH_KEY};

// The path at one place, as a heap text; null when there is none.
char* ReadInstallPath(const char* key_path) {
    WCHAR subkey[kWidePathSize];
    WCHAR value[MAX_PATH];
    char* path = nullptr;
    enc_utf8_to_wide(subkey, key_path);
    log_debug(LOG_HERE, "TSM: looking up registry path: %s", key_path);
    if (!ReadInstallPathValue(value, sizeof value, HKEY_LOCAL_MACHINE, subkey, contract::kInstallPathValue) ||
        !enc_wide_to_utf8_alloc(&path, value)) {
        log_error(LOG_HERE, "TSM: Could not retrieve the install path for %s.", key_path);
    }
    return path;
}

}  // namespace

BOOL GetInstallPath(char* out, size_t size) {
    char* path = nullptr;
    for (const char* key_path : kInstallPathKeys) {
        path = ReadInstallPath(key_path);
        if (path != nullptr) break;
    }
    if (path == nullptr) return FALSE;
    log_debug(LOG_HERE, "TSM: found value in reg path of: %s", path);
    util_strncpy(out, path, size);
    util_strncat(out, BASE_FOLDER "\\", size);
    free(path);
    return TRUE;
}

BOOL ReadInstallPathValue(WCHAR* out, DWORD size, HKEY root, const WCHAR* subkey, const WCHAR* value_name) {
    char shown_subkey[MAX_PATH] = "";
    char shown_name[MAX_PATH] = "";
    enc_wide_to_utf8(shown_subkey, sizeof shown_subkey, subkey);
    enc_wide_to_utf8(shown_name, sizeof shown_name, value_name);

    HKEY key = nullptr;
    LSTATUS status = RegOpenKeyExW(root, subkey, 0, KEY_READ, &key);
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status), "TSM: Unable to open registry key for reading: %s",
                       shown_subkey);
        return FALSE;
    }
    memset(out, 0, size);  // the stored text may lack its terminator
    DWORD count = size;
    status = RegQueryValueExW(key, value_name, nullptr, nullptr, reinterpret_cast<BYTE*>(out), &count);
    out[size / sizeof(WCHAR) - 1] = 0;
    if (status != ERROR_SUCCESS) {
        log_error_code(LOG_HERE, static_cast<uint32_t>(status), "TSM: Unable to read registry string value: %s\\%s",
                       shown_subkey, shown_name);
    }
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? TRUE : FALSE;
}

void BuildHelperCommandPath(MonitorContext* context, const char* install_path) {
    WCHAR* const path = context->helper_command_path;
    // A bare name would be searched for along the system's program search path.
    if (!enc_utf8_to_wide(path, install_path)) return;
    size_t length = util_wcsnlen(path, MAX_PATH - 1);
    for (const WCHAR* name = contract::kHelperFileName; *name != 0 && length < MAX_PATH - 1; ++name)
        path[length++] = *name;
    path[length] = 0;
}

BOOL CheckHelperCommandPath(MonitorContext* context, BOOL dump) {
    const MonitorLockGuard lock;
    const WCHAR* const path = context->helper_command_path;
    log_debug(LOG_HERE, "TSM: test access of helper command path: %S", path);
    for (bool last_test = false;; last_test = true) {
        if (_waccess(path, 0) == 0) {
            log_debug(LOG_HERE, "TSM: using helper command path: %S", path);
            if (dump) LogHexDump("helper path", context->helper_command_path);
            return TRUE;
        }
        log_error(LOG_HERE, "TSM: Could not access the install path for %S.", path);
        LogHexDump("helper path", context->helper_command_path);
        if (last_test) return FALSE;
        char install_path[MAX_PATH];
        if (GetInstallPath(install_path, sizeof install_path)) BuildHelperCommandPath(context, install_path);
    }
}

BOOL CreateChildProcess(MonitorContext* context, HANDLE std_out, HANDLE std_in, HANDLE* process, HANDLE* thread) {
    const MonitorLockGuard lock;
    WCHAR* const path = context->helper_command_path;
    log_debug(LOG_HERE, "TSM: Calling CreateChildProcess for path %S", path);

    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    startup.hStdInput = std_in;
    startup.hStdOutput = std_out;
    startup.hStdError = std_out;

    log_debug(LOG_HERE, "TSM: path before create call %S", path);
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(nullptr, path, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started)) {
        log_debug(LOG_HERE, "TSM: path after create call %S", path);
        LogHexDump("helper path", context->helper_command_path);
        log_error_last_error(LOG_HERE, "TSM: Unable to Create Child Process, error:");
        return FALSE;
    }
    log_debug(LOG_HERE, "TSM: Created child process %S", path);
    *process = started.hProcess;
    *thread = started.hThread;
    return TRUE;
}

// -- Conversations ---------------------------------------------------------------------------------------------------

namespace {

// A pipe; only the child's end is inheritable.
bool CreatePipeToChild(HANDLE* read_end, HANDLE* write_end, const HANDLE* ours, DWORD size,
                       const LogText& create_failed, const LogText& keep_failed) {
    SECURITY_ATTRIBUTES inheritable = {};
    inheritable.nLength = sizeof inheritable;
    inheritable.bInheritHandle = TRUE;
    if (!CreatePipe(read_end, write_end, &inheritable, size)) {
        *read_end = nullptr;
        *write_end = nullptr;
        log_error(create_failed);
        return false;
    }
    if (SetHandleInformation(*ours, HANDLE_FLAG_INHERIT, 0)) return true;
    log_error(keep_failed);
    return false;
}

}  // namespace

BOOL StartHelper(MonitorContext* context, DWORD pipe_size, const HelperLines& lines, HelperHandles* handles) {
    const MonitorLockGuard lock;
    if (!CreatePipeToChild(&handles->std_out_rd, &handles->std_out_wr, &handles->std_out_rd, pipe_size,
                           lines.create_std_out, lines.keep_std_out) ||
        !CreatePipeToChild(&handles->std_in_rd, &handles->std_in_wr, &handles->std_in_wr, pipe_size,
                           lines.create_std_in, lines.keep_std_in)) {
        return FALSE;
    }
    if (!CreateChildProcess(context, handles->std_out_wr, handles->std_in_rd, &handles->process, &handles->thread)) {
        log_error(lines.create_process);
        return FALSE;
    }
    // Now only the helper has the other ends open: a read ends when it exits.
    CloseHelperHandle(&handles->std_out_wr, lines.close_std_out_wr);
    if (lines.omit_error_text) {
        if (!CloseHandle(handles->std_in_rd)) log_error(lines.close_std_in_rd);
        handles->std_in_rd = nullptr;
    } else {
        CloseHelperHandle(&handles->std_in_rd, lines.close_std_in_rd);
    }
    return TRUE;
}

void CloseHelper(HelperHandles* handles, const HelperLines& lines) {
    CloseHelperHandle(&handles->std_out_rd, lines.close_std_out_rd);
    CloseHelperHandle(&handles->std_out_wr, lines.close_std_out_wr);
    CloseHelperHandle(&handles->std_in_rd, lines.close_std_in_rd);
    CloseHelperHandle(&handles->std_in_wr, lines.close_std_in_wr);
    CloseHelperHandle(&handles->process, lines.close_process);
    CloseHelperHandle(&handles->thread, lines.close_thread);
}

void CloseHelperHandle(HANDLE* handle, const LogText& failure) {
    if (*handle == nullptr) return;
    if (!CloseHandle(*handle)) log_error_last_error(failure);
    *handle = nullptr;
}

// -- Diagnosis -------------------------------------------------------------------------------------------------------

void LogHexDump(const char* label, const WCHAR (&buffer)[MAX_PATH]) {
    constexpr size_t kBytesInLine = 32;
    if (session_context.debug_logging == 0) return;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(buffer);
    log_debug(LOG_HERE, "TSM:--------- %s %u bytes -------", label, static_cast<unsigned>(sizeof buffer));
    for (size_t start = 0; start < sizeof buffer; start += kBytesInLine) {
        char line[kBytesInLine * 3 + 1] = "";
        for (size_t i = 0; i < kBytesInLine && start + i < sizeof buffer; ++i) {
            util_snprintf(line + i * 3, sizeof line - i * 3, "%02X ", bytes[start + i]);
        }
        log_debug(LOG_HERE, "TSM: %s", line);
    }
    log_debug(LOG_HERE, "TSM:--------- end of %s %u bytes -------", label, static_cast<unsigned>(sizeof buffer));
}

}  // namespace tsmon
