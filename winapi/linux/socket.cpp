// Windows Sockets over this machine's TCP sockets.
#include "winapi/linux/socket.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <thread>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/wait.h"

namespace {

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
    std::atomic<bool> blocks{true};  // until an event is selected or it is told not to; each send says so by a flag
    std::atomic<bool> connected{false};
    std::atomic<bool> sending_ended{false};
    std::atomic<bool> send_failed{false};
};

// An event that was set is not waited for again.
struct Event final : winapi::Object {
    const char* kind() const override { return "event"; }

    std::mutex mutex;
    std::weak_ptr<Socket> watched;
    std::atomic<bool> set{false};
    std::atomic<int> close_error{0};  // of the close that set it, as an errno
};

int socket_error(int code) {
    return winapi::fail(static_cast<DWORD>(code), SOCKET_ERROR);
}

HANDLE handle_of(SOCKET socket) {
    return reinterpret_cast<HANDLE>(socket);  // NOLINT(performance-no-int-to-ptr)
}

// Null, and the last error set, when there is no such socket.
std::shared_ptr<Socket> socket_of(SOCKET socket) {
    if (starts == 0) return winapi::fail(WSANOTINITIALISED, nullptr);
    auto found = winapi::find_handle_as<Socket>(handle_of(socket));
    if (found == nullptr) SetLastError(WSAENOTSOCK);
    return found;
}

}  // namespace

int WSAStartup(WORD version, WSADATA* data) {
    if (startup_point.fails()) return WSASYSNOTREADY;
    if (data == nullptr) return WSAEFAULT;
    constexpr WORD highest = 0x0202;
    const bool known = (version & 0xFF) >= 1;
    *data = WSADATA{};
    data->wVersion = (version & 0xFF) < 2 ? version : highest;
    data->wHighVersion = highest;
    if (!known) return WSAVERNOTSUPPORTED;
    ++starts;
    return 0;
}

int WSACleanup() {
    int count = starts;
    while (count > 0 && !starts.compare_exchange_weak(count, count - 1)) {
    }
    if (cleanup_point.fails()) return socket_error(WSAENETDOWN);
    return count > 0 ? 0 : socket_error(WSANOTINITIALISED);
}

int WSAGetLastError() {
    return static_cast<int>(GetLastError());
}

// -- name lookup ------------------------------------------------------------------------------------------------------

namespace {

struct Hosts {
    std::mutex mutex;
    std::map<std::string, std::vector<std::string>> addresses;  // by the name in lower case
    bool dns = true;
};

Hosts& hosts() {
    static Hosts* const instance = new Hosts;  // outlives every static of the process
    return *instance;
}

std::string lower(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return name;
}

// The first member is what the caller sees.
struct AddressRecord {
    ADDRINFOW info;
    sockaddr_storage address;
};

struct Query {
    int family;
    int type;
    int protocol;
    WORD port;
};

int wsa_error_from_lookup(int error) {
    switch (error) {
        case EAI_AGAIN:
            return WSATRY_AGAIN;
        case EAI_FAIL:
            return WSANO_RECOVERY;
        case EAI_FAMILY:
            return WSAEAFNOSUPPORT;
        case EAI_MEMORY:
            return ERROR_NOT_ENOUGH_MEMORY;
        case EAI_SYSTEM:
            return winapi::wsa_error_from_errno(errno);
        default:
            return WSAHOST_NOT_FOUND;
    }
}

bool parse_port(LPCWSTR service, WORD& port) {
    unsigned value = 0;
    for (const WCHAR* c = service; c != nullptr && *c != 0; ++c) {
        if (*c < u'0' || *c > u'9') return false;
        value = value * 10 + (*c - u'0');
        if (value > 0xFFFF) return false;
    }
    port = static_cast<WORD>(value);
    return true;
}

bool parse_query(LPCWSTR service, const ADDRINFOW* hints, Query& query, int& error) {
    query = Query{AF_UNSPEC, 0, 0, 0};
    if (hints != nullptr) {
        query.family = hints->ai_family;
        query.type = hints->ai_socktype;
        query.protocol = hints->ai_protocol;
    }
    const bool tcp =
        (query.type == 0 || query.type == SOCK_STREAM) && (query.protocol == 0 || query.protocol == IPPROTO_TCP);
    error = WSAEINVAL;
    if (!tcp || (hints != nullptr && hints->ai_flags != 0)) return false;
    error = WSATYPE_NOT_FOUND;
    return parse_port(service, query.port);
}

// 0 or a code of Winsock's, here and below.
int append_address(const sockaddr* address, socklen_t size, const Query& query, ADDRINFOW**& tail) {
    auto* const record = new (std::nothrow) AddressRecord{};
    if (record == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    std::memcpy(&record->address, address, size);
    // The port stands at the same place in addresses of both families.
    reinterpret_cast<sockaddr_in*>(&record->address)->sin_port = htons(query.port);
    record->info.ai_family = address->sa_family;
    record->info.ai_socktype = query.type;
    record->info.ai_protocol = query.protocol;
    record->info.ai_addrlen = size;
    record->info.ai_addr = reinterpret_cast<sockaddr*>(&record->address);
    *tail = &record->info;
    tail = &record->info.ai_next;
    return 0;
}

// Appends what getaddrinfo finds for the name.
int append_addresses(const char* name, int flags, const Query& query, ADDRINFOW**& tail) {
    addrinfo hints{};
    hints.ai_family = query.family;
    hints.ai_socktype = SOCK_STREAM;  // one record per address
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(name, "0", &hints, &found);
    if (error != 0) return wsa_error_from_lookup(error);
    int result = 0;
    for (const addrinfo* one = found; one != nullptr && result == 0; one = one->ai_next) {
        result = append_address(one->ai_addr, one->ai_addrlen, query, tail);
    }
    freeaddrinfo(found);
    return result;
}

// A numeric address; the usual form needs no look-up.
int append_numeric(const char* name, const Query& query, ADDRINFOW**& tail) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    const bool wanted = query.family == AF_UNSPEC || query.family == AF_INET;
    if (wanted && inet_pton(AF_INET, name, &address.sin_addr) == 1) {
        return append_address(reinterpret_cast<sockaddr*>(&address), sizeof address, query, tail);
    }
    return append_addresses(name, AI_NUMERICHOST, query, tail);
}

int append_set_host(const std::vector<std::string>& addresses, const Query& query, ADDRINFOW**& tail) {
    int result = WSAHOST_NOT_FOUND;
    for (const std::string& address : addresses) {
        const int error = append_numeric(address.c_str(), query, tail);
        // Addresses of a family that was not asked for are skipped.
        if (error == 0) result = 0;
        if (error == ERROR_NOT_ENOUGH_MEMORY) return error;
    }
    return result;
}

int append_host(const std::string& name, const Query& query, ADDRINFOW**& tail) {
    std::vector<std::string> addresses;
    bool dns = true;
    {
        const std::lock_guard lock(hosts().mutex);
        const auto set = hosts().addresses.find(lower(name));
        if (set != hosts().addresses.end()) addresses = set->second;
        dns = hosts().dns;
    }
    if (!addresses.empty()) return append_set_host(addresses, query, tail);
    // The empty name means this machine.
    const char* const asked = name.empty() ? "localhost" : name.c_str();
    const bool local = lower(asked) == "localhost";
    const int error = append_numeric(asked, query, tail);
    if (error == 0 || !(dns || local)) return error;
    return append_addresses(asked, 0, query, tail);
}

}  // namespace

namespace winapi {

void set_host(const std::u16string& name, const std::vector<std::string>& addresses) {
    const std::lock_guard lock(hosts().mutex);
    hosts().addresses[lower(to_utf8(name.c_str()))] = addresses;
}

void allow_dns(bool allowed) {
    const std::lock_guard lock(hosts().mutex);
    hosts().dns = allowed;
}

}  // namespace winapi

int GetAddrInfoW(LPCWSTR node, LPCWSTR service, const ADDRINFOW* hints, ADDRINFOW** result) {
    int error = 0;
    Query query{};
    *result = nullptr;
    ADDRINFOW** tail = result;
    if (lookup_point.fails()) {
        error = WSATRY_AGAIN;
    } else if (starts == 0) {
        error = WSANOTINITIALISED;
    } else if (node == nullptr && service == nullptr) {
        error = WSAHOST_NOT_FOUND;
    } else if (parse_query(service, hints, query, error)) {
        error = node == nullptr ? append_addresses(nullptr, 0, query, tail)
                                : append_host(winapi::to_utf8(node), query, tail);
    }
    if (error == 0) return 0;
    FreeAddrInfoW(*result);
    *result = nullptr;
    SetLastError(static_cast<DWORD>(error));
    return error;
}

void FreeAddrInfoW(ADDRINFOW* list) {
    while (list != nullptr) {
        ADDRINFOW* const next = list->ai_next;
        delete reinterpret_cast<AddressRecord*>(list);
        list = next;
    }
}

// -- connections ------------------------------------------------------------------------------------------------------

namespace {

// Why a connection failed or ended, which it tells once: 0 for a graceful close.
int pending_error(int fd) {
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

int connect_descriptor(int fd, const sockaddr* address, int size) {
    if (::connect(fd, address, static_cast<socklen_t>(size)) == 0) return 0;
    if (errno != EINTR) return errno;
    // The attempt continues in the background; its outcome is the socket's pending error.
    pollfd polled{fd, POLLOUT, 0};
    return winapi::poll_for(&polled, 1, -1) < 0 ? errno : pending_error(fd);
}

// Linux says EPIPE for three things that Windows tells apart.
int wsa_error_from_send(const Socket& socket, int error) {
    if (error != EPIPE) return winapi::wsa_error_from_errno(error);
    if (!socket.connected) return WSAENOTCONN;
    return socket.sending_ended ? WSAESHUTDOWN : WSAECONNRESET;
}

// The bytes queued: all of them unless the socket does not block; negative with the last error set.
int send_all(Socket& socket, const char* data, size_t size) {
    const int flags = MSG_NOSIGNAL | (socket.blocks ? 0 : MSG_DONTWAIT);
    size_t sent = 0;
    do {
        const void* const rest = data + sent;
        const ssize_t count = ::send(socket.fd, rest, size - sent, flags);
        if (count >= 0) {
            sent += static_cast<size_t>(count);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (sent == 0) return socket_error(WSAEWOULDBLOCK);
            break;
        } else if (errno != EINTR) {
            const int error = wsa_error_from_send(socket, errno);
            socket.send_failed = true;
            return socket_error(error);
        }
    } while (sent < size);
    return static_cast<int>(sent);
}

}  // namespace

SOCKET WSASocketW(int family, int type, int protocol, void* protocol_info, GROUP group, DWORD flags) {
    int error = 0;
    constexpr DWORD known_flags = WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT;
    if (socket_point.fails()) {
        error = WSAEMFILE;
    } else if (starts == 0) {
        error = WSANOTINITIALISED;
    } else if (family != AF_INET && family != AF_INET6) {
        error = WSAEAFNOSUPPORT;
    } else if (type != SOCK_STREAM || (protocol != 0 && protocol != IPPROTO_TCP) || protocol_info != nullptr ||
               group != 0 || (flags & ~known_flags) != 0) {
        error = WSAEINVAL;
    }
    const int fd = error == 0 ? ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP) : -1;
    if (fd < 0) {
        socket_error(error != 0 ? error : winapi::wsa_error_from_errno(errno));
        return INVALID_SOCKET;
    }
    auto made = std::make_shared<Socket>(fd);
    made->inheritable = (flags & WSA_FLAG_NO_HANDLE_INHERIT) == 0;
    return reinterpret_cast<SOCKET>(winapi::insert_handle(std::move(made)));
}

int connect(SOCKET socket, const struct sockaddr* address, int size) {
    if (connect_point.fails()) return socket_error(WSAETIMEDOUT);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (address == nullptr || size < static_cast<int>(sizeof(sockaddr_in))) return socket_error(WSAEFAULT);
    int non_blocking = 1;  // connect has no flag for it
    if (!found->blocks) ioctl(found->fd, FIONBIO, &non_blocking);
    const int error = connect_descriptor(found->fd, address, size);
    if (error == 0 || error == EINPROGRESS) found->connected = true;
    if (error == EINPROGRESS) return socket_error(WSAEWOULDBLOCK);
    return error == 0 ? 0 : socket_error(winapi::wsa_error_from_errno(error));
}

int send(SOCKET socket, const char* data, int size, int flags) {
    if (send_point.fails()) return socket_error(WSAECONNRESET);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (size < 0 || (data == nullptr && size > 0)) return socket_error(WSAEFAULT);
    if (flags != 0) return socket_error(WSAEINVAL);
    return send_all(*found, data, send_point.shortened(static_cast<unsigned>(size)));
}

int shutdown(SOCKET socket, int how) {
    if (shutdown_point.fails()) return socket_error(WSAENOTCONN);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (how != SD_RECEIVE && how != SD_SEND && how != SD_BOTH) return socket_error(WSAEINVAL);
    if (::shutdown(found->fd, how) != 0) {
        // Windows distinguishes a connection that was reset from one that never existed.
        const bool was_reset = errno == ENOTCONN && found->connected;
        return socket_error(was_reset ? WSAECONNRESET : winapi::wsa_error_from_errno(errno));
    }
    if (how != SD_RECEIVE) found->sending_ended = true;
    return 0;
}

int closesocket(SOCKET socket) {
    const bool injected = closesocket_point.fails();
    if (winapi::find_handle_as<Socket>(handle_of(socket)) == nullptr) return socket_error(WSAENOTSOCK);
    winapi::close_handle(handle_of(socket));
    if (injected) return socket_error(WSAENETDOWN);
    return starts > 0 ? 0 : socket_error(WSANOTINITIALISED);
}

int ioctlsocket(SOCKET socket, long command, u_long* argument) {
    if (ioctl_point.fails()) return socket_error(WSAENETDOWN);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (command != FIONBIO || argument == nullptr || *argument == 0) return socket_error(WSAEINVAL);
    found->blocks = false;
    return 0;
}

int getsockopt(SOCKET socket, int level, int name, char* value, int* size) {
    if (option_point.fails()) return socket_error(WSAENETDOWN);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    if (level != SOL_SOCKET || name != SO_ERROR) return socket_error(WSAEINVAL);
    if (value == nullptr || size == nullptr || *size < static_cast<int>(sizeof(int))) return socket_error(WSAEFAULT);
    const int error = pending_error(found->fd);
    const int code = error == 0 ? 0 : winapi::wsa_error_from_errno(error);
    std::memcpy(value, &code, sizeof code);
    *size = sizeof code;
    return 0;
}

// -- select -----------------------------------------------------------------------------------------------------------

namespace {

struct Polled {
    std::vector<pollfd> descriptors;
    std::vector<std::shared_ptr<Socket>> sockets;  // keeps them while they are polled
};

bool add_set(const fd_set* set, short events, Polled& polled) {
    if (set == nullptr) return true;
    if (set->fd_count > std::size(set->fd_array)) return winapi::fail(WSAEFAULT, false);
    for (unsigned i = 0; i < set->fd_count; ++i) {
        auto socket = socket_of(set->fd_array[i]);
        if (socket == nullptr) return false;
        polled.descriptors.push_back(pollfd{socket->fd, events, 0});
        polled.sockets.push_back(std::move(socket));
    }
    return true;
}

// Leaves only the ready sockets in the set; `first` is the place of the set's first one.
size_t keep_ready(fd_set* set, const Polled& polled, size_t first) {
    if (set == nullptr) return first;
    const unsigned count = set->fd_count;
    set->fd_count = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (polled.descriptors[first + i].revents != 0) set->fd_array[set->fd_count++] = set->fd_array[i];
    }
    return first + count;
}

std::int64_t select_timeout(const timeval* timeout) {
    if (timeout == nullptr) return -1;
    const std::int64_t milliseconds = std::int64_t{timeout->tv_sec} * 1000 + (timeout->tv_usec + 999) / 1000;
    constexpr std::int64_t longest = std::numeric_limits<int>::max();
    return winapi::real_milliseconds(static_cast<DWORD>(std::clamp<std::int64_t>(milliseconds, 0, longest)));
}

}  // namespace

int select(int /*ignored*/, fd_set* read_set, fd_set* write_set, fd_set* except_set, const struct timeval* timeout) {
    if (select_point.fails()) return socket_error(WSAENETDOWN);
    if (starts == 0) return socket_error(WSANOTINITIALISED);
    Polled polled;
    if (!add_set(read_set, POLLIN, polled) || !add_set(write_set, POLLOUT, polled) ||
        !add_set(except_set, 0, polled)) {  // a connection that failed
        return SOCKET_ERROR;
    }
    if (polled.descriptors.empty()) return socket_error(WSAEINVAL);
    const int ready = winapi::poll_for(polled.descriptors.data(), polled.descriptors.size(), select_timeout(timeout));
    if (ready < 0) return socket_error(winapi::wsa_error_from_errno(errno));
    keep_ready(except_set, polled, keep_ready(write_set, polled, keep_ready(read_set, polled, 0)));
    return ready;
}

// -- events -----------------------------------------------------------------------------------------------------------

namespace {

std::shared_ptr<Socket> watched_by(Event& event) {
    const std::lock_guard lock(event.mutex);
    auto socket = event.watched.lock();
    // A socket without a connection has no close to report.
    return socket != nullptr && socket->connected ? socket : nullptr;
}

bool has_unread_data(int fd) {
    int bytes = 0;
    return ioctl(fd, FIONREAD, &bytes) == 0 && bytes > 0;
}

// A graceful close counts once all that was received has been read, as Windows documents it.
bool is_close(const pollfd& polled) {
    if ((polled.revents & POLLERR) != 0) return true;
    return (polled.revents & (POLLRDHUP | POLLHUP)) != 0 && !has_unread_data(polled.fd);
}

// Whether the event is set when so many real milliseconds have passed, or before.
bool wait_for_close(Event& event, std::int64_t real_ms) {
    constexpr std::int64_t look_again_ms = 5;  // behind data that nobody may ever read
    if (event.set) return true;
    const auto socket = watched_by(event);
    pollfd polled{socket != nullptr ? socket->fd : -1, POLLRDHUP, 0};
    const auto begin = std::chrono::steady_clock::now();
    for (;;) {
        const std::int64_t passed =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count();
        const std::int64_t left = real_ms < 0 ? -1 : std::max<std::int64_t>(real_ms - passed, 0);
        if (winapi::poll_for(&polled, 1, left) <= 0) return false;
        if (is_close(polled)) break;
        if (left == 0) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(look_again_ms));
    }
    if ((polled.revents & POLLERR) != 0) event.close_error = pending_error(polled.fd);
    // A send has told already why the connection ended.
    if (event.close_error == 0 && socket != nullptr && socket->send_failed) event.close_error = ECONNABORTED;
    event.set = true;
    return true;
}

}  // namespace

WSAEVENT WSACreateEvent() {
    if (create_event_point.fails()) {
        winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
        return WSA_INVALID_EVENT;
    }
    return winapi::insert_handle(std::make_shared<Event>());
}

BOOL WSACloseEvent(WSAEVENT event) {
    const bool injected = close_event_point.fails();
    const DWORD error = winapi::close_handle(event);
    if (injected || error != 0) return winapi::fail(ERROR_INVALID_HANDLE);
    return TRUE;
}

int WSAEventSelect(SOCKET socket, WSAEVENT event, long events) {
    if (event_select_point.fails()) return socket_error(WSAENOBUFS);
    const auto found = socket_of(socket);
    if (found == nullptr) return SOCKET_ERROR;
    const auto watcher = winapi::find_handle_as<Event>(event);
    if (watcher == nullptr || events != FD_CLOSE) return socket_error(WSAEINVAL);
    found->blocks = false;
    const std::lock_guard lock(watcher->mutex);
    watcher->watched = found;
    return 0;
}

DWORD WSAWaitForMultipleEvents(DWORD count, const WSAEVENT* events, BOOL /*wait_all*/, DWORD timeout_ms,
                               BOOL alertable) {
    if (wait_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY, WSA_WAIT_FAILED);
    if (starts == 0) return winapi::fail(WSANOTINITIALISED, WSA_WAIT_FAILED);
    if (count != 1 || events == nullptr || alertable != FALSE)
        return winapi::fail(ERROR_INVALID_PARAMETER, WSA_WAIT_FAILED);
    const auto event = winapi::find_handle_as<Event>(events[0]);
    if (event == nullptr) return winapi::fail(ERROR_INVALID_HANDLE, WSA_WAIT_FAILED);
    return wait_for_close(*event, winapi::real_timeout(timeout_ms)) ? WSA_WAIT_EVENT_0 : WSA_WAIT_TIMEOUT;
}

int WSAEnumNetworkEvents(SOCKET socket, WSAEVENT event, WSANETWORKEVENTS* happened) {
    if (enum_events_point.fails()) return socket_error(WSAEINVAL);
    if (socket_of(socket) == nullptr) return SOCKET_ERROR;
    const auto watcher = winapi::find_handle_as<Event>(event);
    if (watcher == nullptr || happened == nullptr) return socket_error(WSAEINVAL);
    *happened = {};
    if (!watcher->set) return 0;
    happened->lNetworkEvents = FD_CLOSE;
    const int error = watcher->close_error;
    happened->iErrorCode[FD_CLOSE_BIT] = error == 0 ? 0 : winapi::wsa_error_from_errno(error);
    return 0;
}
