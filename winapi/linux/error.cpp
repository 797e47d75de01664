#include "winapi/linux/error.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <iterator>
#include <string_view>

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
    {11, u"An attempt was made to load a program with an incorrect format."},
    {13, u"The data is invalid."},
    {14, u"Not enough memory resources are available to complete this operation."},
    {15, u"The system cannot find the drive specified."},
    {17, u"The system cannot move the file to a different disk drive."},
    {18, u"There are no more files."},
    {19, u"The media is write protected."},
    {21, u"The device is not ready."},
    {29, u"The system cannot write to the specified device."},
    {30, u"The system cannot read from the specified device."},
    {31, u"A device attached to the system is not functioning."},
    {32, u"The process cannot access the file because it is being used by another process."},
    {33, u"The process cannot access the file because another process has locked a portion of the file."},
    {38, u"Reached the end of the file."},
    {50, u"The request is not supported."},
    {53, u"The network path was not found."},
    {64, u"The specified network name is no longer available."},
    {80, u"The file exists."},
    {82, u"The directory or file cannot be created."},
    {87, u"The parameter is incorrect."},
    {109, u"The pipe has been ended."},
    {110, u"The system cannot open the device or file specified."},
    {111, u"The file name is too long."},
    {112, u"There is not enough space on the disk."},
    {120, u"This function is not supported on this system."},
    {121, u"The semaphore timeout period has expired."},
    {122, u"The data area passed to a system call is too small."},
    {123, u"The filename, directory name, or volume label syntax is incorrect."},
    {124, u"The system call level is not correct."},
    {126, u"The specified module could not be found."},
    {127, u"The specified procedure could not be found."},
    {145, u"The directory is not empty."},
    {183, u"Cannot create a file when that file already exists."},
    {193, u"%1 is not a valid Win32 application."},
    {206, u"The filename or extension is too long."},
    {232, u"The pipe is being closed."},
    {234, u"More data is available."},
    {258, u"The wait operation timed out."},
    {259, u"No more data is available."},
    {267, u"The directory name is invalid."},
    {317, u"The system cannot find message text for message number 0x%1 in the message file for %2."},
    {995, u"The I/O operation has been aborted because of either a thread exit or an application request."},
    {1004, u"Invalid flags."},
    {1008, u"An attempt was made to reference a token that does not exist."},
    {1010, u"The configuration registry key is invalid."},
    {1011, u"The configuration registry key could not be opened."},
    {1012, u"The configuration registry key could not be read."},
    {1013, u"The configuration registry key could not be written."},
    {1018, u"Illegal operation attempted on a registry key that has been marked for deletion."},
    {1020, u"Cannot create a symbolic link in a registry key that already has subkeys or values."},
    {1113, u"No mapping for the Unicode character exists in the target multi-byte code page."},
    {1117, u"The request could not be performed because of an I/O device error."},
    {1314, u"A required privilege is not held by the client."},
    {1346,
     u"Either a required impersonation level was not provided, or the provided impersonation level is "
     u"invalid."},
    {1450, u"Insufficient system resources exist to complete the requested service."},
    {1460, u"This operation returned because the timeout period expired."},
    {1722, u"The RPC server is unavailable."},
    {1796, u"The specified port is unknown."},
    {1801, u"The printer name is invalid."},
    {1814, u"The specified resource name cannot be found in the image file."},
    {1815, u"The specified resource language ID cannot be found in the image file."},
    {10004, u"A blocking operation was interrupted by a call to WSACancelBlockingCall."},
    {10009, u"The file handle supplied is not valid."},
    {10013, u"An attempt was made to access a socket in a way forbidden by its access permissions."},
    {10014, u"The system detected an invalid pointer address in attempting to use a pointer argument in a call."},
    {10022, u"An invalid argument was supplied."},
    {10024, u"Too many open sockets."},
    {10035, u"A non-blocking socket operation could not be completed immediately."},
    {10036, u"A blocking operation is currently executing."},
    {10037, u"An operation was attempted on a non-blocking socket that already had an operation in progress."},
    {10038, u"An operation was attempted on something that is not a socket."},
    {10047, u"An address incompatible with the requested protocol was used."},
    {10048, u"Only one usage of each socket address (protocol/network address/port) is normally permitted."},
    {10049, u"The requested address is not valid in its context."},
    {10050, u"A socket operation encountered a dead network."},
    {10051, u"A socket operation was attempted to an unreachable network."},
    {10053, u"An established connection was aborted by the software in your host machine."},
    {10054, u"An existing connection was forcibly closed by the remote host."},
    {10055,
     u"An operation on a socket could not be performed because the system lacked sufficient buffer space or "
     u"because a queue was full."},
    {10056, u"A connect request was made on an already connected socket."},
    {10057,
     u"A request to send or receive data was disallowed because the socket is not connected and (when "
     u"sending "
     u"on a datagram socket using a sendto call) no address was supplied."},
    {10058,
     u"A request to send or receive data was disallowed because the socket had already been shut down in "
     u"that "
     u"direction with a previous shutdown call."},
    {10060,
     u"A connection attempt failed because the connected party did not properly respond after a period of "
     u"time, or established connection failed because connected host has failed to respond."},
    {10061, u"No connection could be made because the target machine actively refused it."},
    {10064, u"A socket operation failed because the destination host was down."},
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
    {11003, u"A non-recoverable error occurred during a database lookup."},
    {11004, u"The requested name is valid, but no data of the requested type was found."},
};

constexpr bool by_code(const Message& left, const Message& right) {
    return left.code < right.code;
}
static_assert(std::is_sorted(std::begin(messages), std::end(messages), by_code));

const Message* find_message(DWORD code) {
    const auto* const found = std::lower_bound(std::begin(messages), std::end(messages), Message{code, {}}, by_code);
    return found != std::end(messages) && found->code == code ? found : nullptr;
}

struct ErrnoCode {
    int error;
    DWORD code;
};

constexpr ErrnoCode win32_codes[] = {
    {0, ERROR_SUCCESS},
    {EPERM, ERROR_ACCESS_DENIED},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {EIO, ERROR_IO_DEVICE},
    {ENXIO, ERROR_FILE_NOT_FOUND},
    {ENOEXEC, ERROR_BAD_EXE_FORMAT},
    {EBADF, ERROR_INVALID_HANDLE},
    {EAGAIN, ERROR_NO_SYSTEM_RESOURCES},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EACCES, ERROR_ACCESS_DENIED},
    {EBUSY, ERROR_SHARING_VIOLATION},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {EXDEV, 17},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EFBIG, ERROR_DISK_FULL},
    {ENOSPC, ERROR_DISK_FULL},
    {EROFS, 19},
    {EPIPE, ERROR_NO_DATA},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {ENOSYS, ERROR_CALL_NOT_IMPLEMENTED},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
    {ETIMEDOUT, ERROR_TIMEOUT},
    {EDQUOT, ERROR_DISK_FULL},
};

constexpr ErrnoCode winsock_codes[] = {
    {0, 0},
    {EINTR, WSAEINTR},
    {EBADF, WSAENOTSOCK},
    {EAGAIN, WSAEWOULDBLOCK},
    {ENOMEM, WSAENOBUFS},
    {EACCES, WSAEACCES},
    {EPERM, WSAEACCES},
    {EFAULT, WSAEFAULT},
    {EINVAL, WSAEINVAL},
    {ENFILE, WSAEMFILE},
    {EMFILE, WSAEMFILE},
    {EPIPE, WSAECONNABORTED},
    {EINPROGRESS, WSAEWOULDBLOCK},
    {EALREADY, 10037},
    {ENOTSOCK, WSAENOTSOCK},
    {EAFNOSUPPORT, WSAEAFNOSUPPORT},
    {EADDRINUSE, WSAEADDRINUSE},
    {EADDRNOTAVAIL, WSAEADDRNOTAVAIL},
    {ENETDOWN, 10050},
    {ENETUNREACH, WSAENETUNREACH},
    {ECONNABORTED, WSAECONNABORTED},
    {ECONNRESET, WSAECONNRESET},
    {ENOBUFS, WSAENOBUFS},
    {EISCONN, 10056},
    {ENOTCONN, WSAENOTCONN},
    {ESHUTDOWN, WSAESHUTDOWN},
    {ETIMEDOUT, WSAETIMEDOUT},
    {ECONNREFUSED, WSAECONNREFUSED},
    {EHOSTDOWN, 10064},
    {EHOSTUNREACH, WSAEHOSTUNREACH},
};

template <size_t Size>
DWORD lookup(const ErrnoCode (&codes)[Size], int error, DWORD otherwise) {
    const auto* const found =
        std::find_if(codes, codes + Size, [error](const ErrnoCode& row) { return row.error == error; });
    return found != codes + Size ? found->code : otherwise;
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
    const bool plain = flags == (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS);
    if (!plain || source != nullptr || arguments != nullptr || buffer == nullptr) {
        return winapi::fail(ERROR_INVALID_PARAMETER, 0u);
    }
    constexpr DWORD us_english = 0x409;
    if (language_id != 0 && language_id != MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT) && language_id != us_english) {
        return winapi::fail(ERROR_RESOURCE_LANG_NOT_FOUND, 0u);
    }
    const Message* const message = find_message(message_id);
    if (message == nullptr) return winapi::fail(ERROR_MR_MID_NOT_FOUND, 0u);

    constexpr std::u16string_view line_end = u"\r\n";
    const size_t length = message->text.size() + line_end.size();
    if (size <= length) return winapi::fail(ERROR_INSUFFICIENT_BUFFER, 0u);
    WCHAR* const end = std::copy(message->text.begin(), message->text.end(), buffer);
    *std::copy(line_end.begin(), line_end.end(), end) = 0;
    return static_cast<DWORD>(length);
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
