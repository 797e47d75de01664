// Windows Sockets over this machine's TCP sockets.
#include "winapi/linux/socket.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <thread>

#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"

namespace {

using winapi::fail;
using winapi::the;
using winapi::fault::Point;

Point startup_point("WSAStartup");
Point cleanup_point("WSACleanup");
Point lookup_point("GetAddrInfoW");
Point socket_point("WSASocketW");
Point connect_point("connect");
Point send_point("send");
Point ioctl_point("ioctlsocket");
Point option_point("getsockopt");
Point select_point("select");
Point shutdown_point("shutdown");
Point closesocket_point("closesocket");
Point create_event_point("WSACreateEvent");
Point close_event_point("WSACloseEvent");
Point event_select_point("WSAEventSelect");
Point wait_point("WSAWaitForMultipleEvents");
Point enum_events_point("WSAEnumNetworkEvents");

std::atomic<int> starts{0};

struct Socket final : winapi::Object {
    explicit Socket(int descriptor) : fd(descriptor) {}
    // An error of Linux' close (EINTR, say) has no counterpart: the descriptor is closed in any case.
    DWORD close() override {
        ::close(fd);
        return 0;
    }
    const char* kind() const override { return "socket"; }
    int descriptor() const override { return fd; }

    const int fd;
    std::atomic<bool> send_failed{false};
    // Used by the thread that waits for the close: whether it has come, and its error as an errno.
    bool closed = false;
    int close_error = 0;
};

// Of the close of a socket. An event that was set is not waited for again.
struct Event final : winapi::Object {
    const char* kind() const override { return "event"; }

    std::weak_ptr<Socket> watched;
};

int socket_error(int code) {
    return fail(static_cast<DWORD>(code), SOCKET_ERROR);
}

HANDLE handle_of(SOCKET socket) {
    return reinterpret_cast<HANDLE>(socket);  // NOLINT(performance-no-int-to-ptr)
}

// Null, and the last error set, when there is no such socket.
std::shared_ptr<Socket> socket_of(SOCKET socket) {
    if (starts == 0) return fail(WSANOTINITIALISED, nullptr);
    auto found = winapi::find_handle_as<Socket>(handle_of(socket));
    if (found == nullptr) SetLastError(WSAENOTSOCK);
    return found;
}

void stop_blocking(const Socket& socket) {
    int yes = 1;
    ioctl(socket.fd, FIONBIO, &yes);
}

}  // namespace

int WSAStartup(WORD version, WSADATA* data) {
    if (startup_point.fails()) return WSASYSNOTREADY;
    if (version != 0x0202) return WSAVERNOTSUPPORTED;
    *data = WSADATA{version, version};
    ++starts;
    return 0;
}

int WSACleanup() {
    const bool injected = cleanup_point.fails();
    if (starts == 0) return socket_error(WSANOTINITIALISED);
    --starts;
    return injected ? socket_error(WSAENETDOWN) : 0;
}

int WSAGetLastError() {
    return static_cast<int>(GetLastError());
}

// -- name lookup ------------------------------------------------------------------------------------------------------

namespace {

struct Hosts {
    std::mutex mutex;
    std::map<std::string, std::vector<std::string>> addresses;
    bool dns = true;
};

// Appends one record for each address that a name has; 0 or a code of Winsock's.
int append_addresses(const std::string& name, const std::string& port, int flags, addrinfo hints, addrinfo** result) {
    while (*result != nullptr) result = &(*result)->ai_next;
    hints.ai_flags = flags | AI_NUMERICSERV;
    const int error = getaddrinfo(name.c_str(), port.c_str(), &hints, result);
    return error == 0 ? 0 : error == EAI_AGAIN ? WSATRY_AGAIN : WSAHOST_NOT_FOUND;
}

int look_up(const std::string& name, const std::string& port, const addrinfo& hints, addrinfo** result) {
    std::unique_lock lock(the<Hosts>().mutex);
    const auto found = the<Hosts>().addresses.find(name);
    const auto set = found != the<Hosts>().addresses.end() ? found->second : std::vector<std::string>();
    const bool dns = the<Hosts>().dns || name == "localhost";
    lock.unlock();
    if (set.empty()) return append_addresses(name, port, dns ? 0 : AI_NUMERICHOST, hints, result);
    int error = 0;
    for (const std::string& address : set) error = append_addresses(address, port, AI_NUMERICHOST, hints, result);
    return *result != nullptr ? 0 : error;
}

}  // namespace

void winapi::set_host(const std::u16string& name, const std::vector<std::string>& addresses) {
    const std::lock_guard lock(the<Hosts>().mutex);
    the<Hosts>().addresses[to_utf8(name.c_str())] = addresses;
}

void winapi::allow_dns(bool allowed) {
    const std::lock_guard lock(the<Hosts>().mutex);
    the<Hosts>().dns = allowed;
}

int GetAddrInfoW(LPCWSTR node, LPCWSTR service, const ADDRINFOW* hints, ADDRINFOW** result) {
    *result = nullptr;
    int error = lookup_point.fails() ? WSATRY_AGAIN : starts == 0 ? WSANOTINITIALISED : 0;
    if (error == 0) error = look_up(winapi::to_utf8(node), winapi::to_utf8(service), *hints, result);
    if (error != 0) SetLastError(static_cast<DWORD>(error));
    return error;
}

void FreeAddrInfoW(ADDRINFOW* list) {
    freeaddrinfo(list);  // which frees record by record, of one look-up or several
}

// -- connections ------------------------------------------------------------------------------------------------------

namespace {

// Why a connection failed or ended, which it tells once: 0 for a graceful close.
int pending_error(int fd) {
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

}  // namespace

SOCKET WSASocketW(int family, int type, int protocol, void* protocol_info, GROUP group, DWORD flags) {
    if (socket_point.fails()) return fail(WSAEMFILE, INVALID_SOCKET);
    if (starts == 0) return fail(WSANOTINITIALISED, INVALID_SOCKET);
    constexpr DWORD known_flags = WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT;
    if (type != SOCK_STREAM || protocol_info != nullptr || group != 0 || (flags & ~known_flags) != 0) {
        return fail(WSAEINVAL, INVALID_SOCKET);
    }
    const int fd = ::socket(family, type | SOCK_CLOEXEC, protocol);
    if (fd < 0) return fail(static_cast<DWORD>(winapi::wsa_error_from_errno(errno)), INVALID_SOCKET);
    auto made = std::make_shared<Socket>(fd);
    made->inheritable = (flags & WSA_FLAG_NO_HANDLE_INHERIT) == 0;
    return reinterpret_cast<SOCKET>(winapi::insert_handle(std::move(made)));
}

int connect(SOCKET socket, const struct sockaddr* address, int size) {
    if (connect_point.fails()) return socket_error(WSAETIMEDOUT);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (::connect(found->fd, address, static_cast<socklen_t>(size)) == 0) return 0;
    return socket_error(winapi::wsa_error_from_errno(errno));
}

// All of it, unless the socket does not block.
int send(SOCKET socket, const char* data, int size, int flags) {
    if (send_point.fails()) return socket_error(WSAECONNRESET);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (flags != 0) return socket_error(WSAEINVAL);
    const size_t wanted = Point::shortened(static_cast<unsigned>(size));
    const ssize_t sent = ::send(found->fd, static_cast<const void*>(data), wanted, MSG_NOSIGNAL);
    if (sent >= 0) return static_cast<int>(sent);
    const int error = winapi::wsa_error_from_errno(errno);
    found->send_failed = error != WSAEWOULDBLOCK;
    return socket_error(error);
}

int shutdown(SOCKET socket, int how) {
    if (shutdown_point.fails()) return socket_error(WSAENOTCONN);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (how != SD_SEND) return socket_error(WSAEINVAL);
    return ::shutdown(found->fd, SHUT_WR) == 0 ? 0 : socket_error(winapi::wsa_error_from_errno(errno));
}

int closesocket(SOCKET socket) {
    const bool injected = closesocket_point.fails();
    const DWORD error = winapi::close_handle(handle_of(socket));
    return injected ? socket_error(WSAENETDOWN) : error == 0 ? 0 : socket_error(WSAENOTSOCK);
}

int ioctlsocket(SOCKET socket, long command, u_long* argument) {
    if (ioctl_point.fails()) return socket_error(WSAENETDOWN);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (command != FIONBIO || *argument == 0) return socket_error(WSAEINVAL);
    stop_blocking(*found);
    return 0;
}

int getsockopt(SOCKET socket, int level, int name, char* value, int* size) {
    if (option_point.fails()) return socket_error(WSAENETDOWN);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (level != SOL_SOCKET || name != SO_ERROR || *size != sizeof(int)) return socket_error(WSAEINVAL);
    const int error = pending_error(found->fd);
    const int code = error == 0 ? 0 : winapi::wsa_error_from_errno(error);
    std::memcpy(value, &code, sizeof code);
    return 0;
}

namespace {

// Milliseconds for poll, -1 for ever.
int poll_timeout(DWORD timeout_ms) {
    constexpr std::int64_t longest = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(winapi::real_milliseconds(timeout_ms), longest));
}

}  // namespace

int select(int /*ignored*/, fd_set* read_set, fd_set* write_set, fd_set* except_set, const struct timeval* timeout) {
    if (select_point.fails()) return socket_error(WSAENETDOWN);
    if (read_set != nullptr || write_set->fd_count != 1) return socket_error(WSAEINVAL);
    const auto found = socket_of(write_set->fd_array[0]);
    if (found == nullptr) return SOCKET_ERROR;
    pollfd polled{found->fd, POLLOUT, 0};
    const auto milliseconds = static_cast<DWORD>(timeout->tv_sec * 1000 + (timeout->tv_usec + 999) / 1000);
    const int ready = poll(&polled, 1, poll_timeout(milliseconds));
    write_set->fd_count = ready > 0 ? 1 : 0;
    // An attempt to connect that failed.
    if (except_set != nullptr) except_set->fd_count = (polled.revents & (POLLERR | POLLHUP)) != 0 ? 1 : 0;
    return ready >= 0 ? ready : socket_error(winapi::wsa_error_from_errno(errno));
}

// -- events -----------------------------------------------------------------------------------------------------------

namespace {

bool has_unread_data(int fd) {
    int bytes = 0;
    return ioctl(fd, FIONREAD, &bytes) == 0 && bytes > 0;
}

// A graceful close counts once all that was received has been read, as Windows documents it.
bool is_close(const pollfd& polled) {
    if ((polled.revents & POLLERR) != 0) return true;
    return (polled.revents & (POLLRDHUP | POLLHUP)) != 0 && !has_unread_data(polled.fd);
}

// Whether the event is set when so much of the layer's time has passed, or before.
bool wait_for_close(const Event& event, DWORD timeout_ms) {
    const auto socket = event.watched.lock();
    if (socket != nullptr && socket->closed) return true;
    pollfd polled{socket != nullptr ? socket->fd : -1, POLLRDHUP, 0};
    const std::uint64_t end = winapi::clock_milliseconds() + timeout_ms;
    for (;;) {
        const std::uint64_t now = winapi::clock_milliseconds();
        if (poll(&polled, 1, poll_timeout(now < end ? static_cast<DWORD>(end - now) : 0)) <= 0) return false;
        if (is_close(polled)) break;
        if (now >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // behind data that nobody may ever read
    }
    if ((polled.revents & POLLERR) != 0) socket->close_error = pending_error(polled.fd);
    // A send has told already why the connection ended.
    if (socket->close_error == 0 && socket->send_failed) socket->close_error = ECONNABORTED;
    socket->closed = true;
    return true;
}

}  // namespace

WSAEVENT WSACreateEvent() {
    if (create_event_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY, WSA_INVALID_EVENT);
    return winapi::insert_handle(std::make_shared<Event>());
}

BOOL WSACloseEvent(WSAEVENT event) {
    const bool injected = close_event_point.fails();
    const DWORD error = winapi::close_handle(event);
    return winapi::finish(injected ? ERROR_INVALID_HANDLE : error);
}

int WSAEventSelect(SOCKET socket, WSAEVENT event, long events) {
    if (event_select_point.fails()) return socket_error(WSAENOBUFS);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    const auto watcher = winapi::find_handle_as<Event>(event);
    if (watcher == nullptr || events != FD_CLOSE) return socket_error(WSAEINVAL);
    stop_blocking(*found);
    watcher->watched = found;
    return 0;
}

DWORD WSAWaitForMultipleEvents(DWORD count, const WSAEVENT* events, BOOL /*wait_all*/, DWORD timeout_ms,
                               BOOL alertable) {
    if (wait_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY, WSA_WAIT_FAILED);
    if (starts == 0) return fail(WSANOTINITIALISED, WSA_WAIT_FAILED);
    if (count != 1 || alertable != FALSE) return fail(ERROR_INVALID_PARAMETER, WSA_WAIT_FAILED);
    const auto event = winapi::find_handle_as<Event>(events[0]);
    if (event == nullptr) return fail(ERROR_INVALID_HANDLE, WSA_WAIT_FAILED);
    return wait_for_close(*event, timeout_ms) ? WSA_WAIT_EVENT_0 : WSA_WAIT_TIMEOUT;
}

int WSAEnumNetworkEvents(SOCKET socket, WSAEVENT event, WSANETWORKEVENTS* happened) {
    if (enum_events_point.fails()) return socket_error(WSAEINVAL);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (event != nullptr) return socket_error(WSAEINVAL);
    *happened = {};
    if (!found->closed) return 0;
    happened->lNetworkEvents = FD_CLOSE;
    const int error = found->close_error;
    happened->iErrorCode[FD_CLOSE_BIT] = error == 0 ? 0 : winapi::wsa_error_from_errno(error);
    return 0;
}
