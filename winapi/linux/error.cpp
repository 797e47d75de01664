#include "winapi/linux/error.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <iterator>
#include <string>

#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winapi/linux/socket.h"

namespace {

winapi::fault::Point format_message_point("FormatMessageW");

thread_local DWORD last_error = 0;
std::atomic<void (*)(const char*)> debugger{nullptr};

struct Message {
    DWORD code;
    std::u16string_view text;  // without the CR LF that each ends in
};

// In the order of their codes.
constexpr Message messages[] = {
    {0, u"The operation completed successfully."},
    {1, u"Incorrect function."},
    {2, u"The system cannot find the file specified."},
    {3, u"The system cannot find the path specified."},
    {4, u"The system cannot open the file."},
    {5, u"Access is denied."},
    {6, u"The handle is invalid."},
    {8, u"Not enough memory resources are available to process this command."},
    {18, u"There are no more files."},
    {29, u"The system cannot write to the specified device."},
    {30, u"The system cannot read from the specified device."},
    {31, u"A device attached to the system is not functioning."},
    {32, u"The process cannot access the file because it is being used by another process."},
    {38, u"Reached the end of the file."},
    {50, u"The request is not supported."},
    {87, u"The parameter is incorrect."},
    {109, u"The pipe has been ended."},
    {111, u"The file name is too long."},
    {112, u"There is not enough space on the disk."},
    {120, u"This function is not supported on this system."},
    {122, u"The data area passed to a system call is too small."},
    {123, u"The filename, directory name, or volume label syntax is incorrect."},
    {124, u"The system call level is not correct."},
    {126, u"The specified module could not be found."},
    {127, u"The specified procedure could not be found."},
    {183, u"Cannot create a file when that file already exists."},
    {193, u"%1 is not a valid Win32 application."},
    {206, u"The filename or extension is too long."},
    {232, u"The pipe is being closed."},
    {234, u"More data is available."},
    {259, u"No more data is available."},
    {317, u"The system cannot find message text for message number 0x%1 in the message file for %2."},
    {1008, u"An attempt was made to reference a token that does not exist."},
    {1013, u"The configuration registry key could not be written."},
    {1346,
     u"Either a required impersonation level was not provided, or the provided impersonation level is "
     u"invalid."},
    {1450, u"Insufficient system resources exist to complete the requested service."},
    {1460, u"This operation returned because the timeout period expired."},
    {1722, u"The RPC server is unavailable."},
    {1796, u"The specified port is unknown."},
    {1801, u"The printer name is invalid."},
    {1814, u"The specified resource name cannot be found in the image file."},
    {10013, u"An attempt was made to access a socket in a way forbidden by its access permissions."},
    {10022, u"An invalid argument was supplied."},
    {10024, u"Too many open sockets."},
    {10035, u"A non-blocking socket operation could not be completed immediately."},
    {10038, u"An operation was attempted on something that is not a socket."},
    {10047, u"An address incompatible with the requested protocol was used."},
    {10049, u"The requested address is not valid in its context."},
    {10050, u"A socket operation encountered a dead network."},
    {10051, u"A socket operation was attempted to an unreachable network."},
    {10053, u"An established connection was aborted by the software in your host machine."},
    {10054, u"An existing connection was forcibly closed by the remote host."},
    {10055,
     u"An operation on a socket could not be performed because the system lacked sufficient buffer space or "
     u"because a queue was full."},
    {10057,
     u"A request to send or receive data was disallowed because the socket is not connected and (when "
     u"sending on a datagram socket using a sendto call) no address was supplied."},
    {10060,
     u"A connection attempt failed because the connected party did not properly respond after a period of "
     u"time, or established connection failed because connected host has failed to respond."},
    {10061, u"No connection could be made because the target machine actively refused it."},
    {10065, u"A socket operation was attempted to an unreachable host."},
    {10091,
     u"WSAStartup cannot function at this time because the underlying system it uses to provide network "
     u"services is currently unavailable."},
    {10092, u"The Windows Sockets version requested is not supported."},
    {10093, u"Either the application has not called WSAStartup, or WSAStartup failed."},
    {10109, u"The specified class was not found."},
    {11001, u"No such host is known."},
    {11002,
     u"This is usually a temporary error during hostname resolution and means that the local server did not "
     u"receive a response from an authoritative server."},
};

struct ErrnoCode {
    int error;
    DWORD code;
};

constexpr ErrnoCode win32_codes[] = {
    {EPERM, ERROR_ACCESS_DENIED},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {E2BIG, ERROR_FILENAME_EXCED_RANGE},
    {ENOEXEC, ERROR_BAD_EXE_FORMAT},
    {EBADF, ERROR_ACCESS_DENIED},  // a descriptor that is open, but not for this
    {EAGAIN, ERROR_NO_SYSTEM_RESOURCES},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EACCES, ERROR_ACCESS_DENIED},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EFBIG, ERROR_DISK_FULL},
    {ENOSPC, ERROR_DISK_FULL},
    {EPIPE, ERROR_NO_DATA},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {EDQUOT, ERROR_DISK_FULL},
};

constexpr ErrnoCode winsock_codes[] = {
    {EPERM, WSAEACCES},
    {EAGAIN, WSAEWOULDBLOCK},
    {ENOMEM, WSAENOBUFS},
    {EACCES, WSAEACCES},
    {ENFILE, WSAEMFILE},
    {EMFILE, WSAEMFILE},
    {EINPROGRESS, WSAEWOULDBLOCK},
    {EAFNOSUPPORT, WSAEAFNOSUPPORT},
    {EADDRNOTAVAIL, WSAEADDRNOTAVAIL},
    {ENETDOWN, WSAENETDOWN},
    {ENETUNREACH, WSAENETUNREACH},
    {ECONNABORTED, WSAECONNABORTED},
    {ECONNRESET, WSAECONNRESET},
    {EPIPE, WSAECONNRESET},  // as is what comes after a reset
    {ENOTCONN, WSAECONNRESET},
    {ENOBUFS, WSAENOBUFS},
    {ETIMEDOUT, WSAETIMEDOUT},
    {ECONNREFUSED, WSAECONNREFUSED},
    {EHOSTUNREACH, WSAEHOSTUNREACH},
};

template <size_t Size>
DWORD lookup(const ErrnoCode (&codes)[Size], int error, DWORD otherwise) {
    for (const ErrnoCode& row : codes) {
        if (row.error == error) return row.code;
    }
    return otherwise;
}

}  // namespace

DWORD GetLastError() {
    return last_error;
}

void SetLastError(DWORD code) {
    last_error = code;
}

DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD message_id, DWORD language_id, LPWSTR buffer, DWORD size,
                     void* arguments) {
    if (format_message_point.fails()) return winapi::fail(ERROR_MR_MID_NOT_FOUND, 0u);
    const bool any_language = language_id == 0 || language_id == MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);
    if (flags != (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS) || source != nullptr || !any_language ||
        arguments != nullptr) {
        return winapi::fail(ERROR_INVALID_PARAMETER, 0u);
    }
    const auto* const message = std::find_if(std::begin(messages), std::end(messages),
                                             [message_id](const Message& row) { return row.code == message_id; });
    if (message == std::end(messages)) return winapi::fail(ERROR_MR_MID_NOT_FOUND, 0u);
    const std::u16string text = std::u16string(message->text) + u"\r\n";
    if (size <= text.size()) return winapi::fail(ERROR_INSUFFICIENT_BUFFER, 0u);
    std::copy_n(text.c_str(), text.size() + 1, buffer);
    return static_cast<DWORD>(text.size());
}

void OutputDebugStringA(LPCSTR text) {
    auto* const sink = debugger.load();
    if (sink != nullptr && text != nullptr) sink(text);
}

namespace winapi {

void set_debugger(void (*sink)(const char* text)) {
    debugger = sink;
}

DWORD error_from_errno(int error) {
    return lookup(win32_codes, error, ERROR_GEN_FAILURE);
}

int wsa_error_from_errno(int error) {
    return static_cast<int>(lookup(winsock_codes, error, static_cast<DWORD>(WSAEINVAL)));
}

}  // namespace winapi
