#include "winportmon/tsmon/util_connection.h"

#include <algorithm>

#include "common/log.h"
#include "winportmon/contract/printer.h"

namespace tsmon {
namespace {

constexpr long kWritableWaitSeconds = 20;
constexpr DWORD kCloseWaitMs = 30000;

void LogRefusedAddress(const ADDRINFOW* target, const WCHAR* address, int error) {
    log_error_code(LOG_HERE, static_cast<uint32_t>(error), "TSM: Failed to connect to printer: %S", address);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(target->ai_addr);
    log_error(LOG_HERE, "TSM: addr = 0x%x 0x%x %u %u %u %u", bytes[2], bytes[3], bytes[4], bytes[5], bytes[6],
              bytes[7]);
}

// The first address that answers, connected; INVALID_SOCKET when none does.
SOCKET ConnectToFirst(const ADDRINFOW* targets, const WCHAR* address, BOOL log_failures) {
    for (const ADDRINFOW* target = targets; target != nullptr; target = target->ai_next) {
        // As socket(), but not inheritable: a helper must not keep the connection open.
        const SOCKET socket = WSASocketW(target->ai_family, target->ai_socktype, target->ai_protocol, nullptr, 0,
                                         WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
        if (socket == INVALID_SOCKET) {
            const int error = WSAGetLastError();
            if (log_failures) {
                log_error_code(LOG_HERE, static_cast<uint32_t>(error),
                               "TSM: Failed to create connection to printer: %S", address);
            }
            return INVALID_SOCKET;
        }
        if (connect(socket, target->ai_addr, static_cast<int>(target->ai_addrlen)) == 0) return socket;
        const int error = WSAGetLastError();
        if (log_failures) LogRefusedAddress(target, address, error);
        closesocket(socket);
    }
    return INVALID_SOCKET;
}

// A size beyond the range of int is sent in part, like any partial send.
int SendOnce(SOCKET socket, const void* data, DWORD length) {
    return send(socket, static_cast<const char*>(data), static_cast<int>(std::min<DWORD>(length, INT32_MAX)), 0);
}

// After a send that would have blocked.
BOOL WaitAndSendAgain(SOCKET socket, const void* data, DWORD length, DWORD* sent) {
    log_debug(LOG_HERE, "TSM: wait for io or timeout %d", static_cast<int>(kWritableWaitSeconds * 1000));
    const int waited = WaitForSocketWritable(socket);
    log_debug(LOG_HERE, "TSM: wait returned %d", waited);
    if (waited > 0) {
        log_error(LOG_HERE, "TSM: timeout on socket for send");
        return FALSE;
    }
    if (waited < 0) {
        log_error(LOG_HERE, "TSM: error sending data");
        return FALSE;
    }
    log_debug(LOG_HERE, "TSM: retry sending data of size %d", length);
    const int count = SendOnce(socket, data, length);
    log_debug(LOG_HERE, "TSM: re-send returned %d", count);
    if (count == SOCKET_ERROR) return FALSE;
    *sent = static_cast<DWORD>(count);
    return TRUE;
}

// An event that is set when the printer closes its side, or WSA_INVALID_EVENT.
WSAEVENT SelectCloseEvent(SOCKET socket) {
    const WSAEVENT event = WSACreateEvent();
    if (event == WSA_INVALID_EVENT) return WSA_INVALID_EVENT;
    if (WSAEventSelect(socket, event, FD_CLOSE) == 0) return event;
    log_error(LOG_HERE, "TSM: unable to event select on FD_CLOSE with error: %d", WSAGetLastError());
    WSACloseEvent(event);
    return WSA_INVALID_EVENT;
}

// 0 when the printer closed the connection cleanly; else why it ended.
int CloseError(SOCKET socket) {
    WSANETWORKEVENTS happened = {};
    if (WSAEnumNetworkEvents(socket, nullptr, &happened) == SOCKET_ERROR) return WSAGetLastError();
    return happened.iErrorCode[FD_CLOSE_BIT];
}

void WaitForClose(SOCKET socket, WSAEVENT event, bool complete) {
    log_debug(LOG_HERE, "TSM: waiting for FD_CLOSE on socket");
    const DWORD waited = WSAWaitForMultipleEvents(1, &event, FALSE, kCloseWaitMs, FALSE);
    if (waited == WSA_WAIT_TIMEOUT) {
        log_error(LOG_HERE, "TSM: timed out waiting to get the FD_CLOSE event on the socket");
    } else {
        const bool closed = waited == WSA_WAIT_EVENT_0;
        int error = 0;
        if (!closed) error = WSAGetLastError();
        if (closed && complete) error = CloseError(socket);
        if (!closed || error != 0) {
            log_error(LOG_HERE, "TSM: an error occured while waiting for FD_CLOSE event: %d", error);
        }
    }
    WSACloseEvent(event);
}

}  // namespace

BOOL ConnectToPrinter(const PortConfig* config, SOCKET* out, BOOL log_failures) {
    const FieldText address(config->printer_address);
    log_debug(LOG_HERE, "TSM: get addr for %S", address.text);
    ADDRINFOW* targets = nullptr;
    const int error = contract::LookUpPrinter(address.text, config->port_number, &targets);
    if (error != 0) {
        if (log_failures) {
            log_error_code(LOG_HERE, static_cast<uint32_t>(error), "TSM: Error looking up printer address: %S",
                           address.text);
        }
        return FALSE;
    }
    const SOCKET socket = ConnectToFirst(targets, address.text, log_failures);
    FreeAddrInfoW(targets);
    if (socket == INVALID_SOCKET) {
        if (log_failures) log_error(LOG_HERE, "TSM: unable to connect to printer by tcp");
        return FALSE;
    }
    *out = socket;
    return TRUE;
}

int WaitForSocketWritable(SOCKET socket) {
    fd_set writable;
    FD_ZERO(&writable);
    FD_SET(socket, &writable);
    timeval timeout = {};
    timeout.tv_sec = kWritableWaitSeconds;
    const int ready = select(0, nullptr, &writable, nullptr, &timeout);
    if (ready == SOCKET_ERROR) {
        log_error(LOG_HERE, "TSM: Error waiting for socket");
        return -1;
    }
    return ready == 0 ? 1 : 0;
}

BOOL SendToSocket(SOCKET socket, const void* data, DWORD length, DWORD* sent) {
    *sent = 0;
    log_dev(LOG_HERE, "TSM: sending data of size %d to socket", length);
    const int count = SendOnce(socket, data, length);
    const int error = count == SOCKET_ERROR ? WSAGetLastError() : 0;
    log_dev(LOG_HERE, "TSM: sending data returned %d", count);
    if (count != SOCKET_ERROR) {
        *sent = static_cast<DWORD>(count);
        return TRUE;
    }
    if (error == WSAEWOULDBLOCK) return WaitAndSendAgain(socket, data, length, sent);
    log_error_code(LOG_HERE, static_cast<uint32_t>(error), "TSM: unable to send data to printer: %lu", error);
    return FALSE;
}

BOOL CleanupSocket(SOCKET* socket, bool complete) {
    log_debug(LOG_HERE, "TSM: cleanup socket");
    const WSAEVENT closed = SelectCloseEvent(*socket);
    if (shutdown(*socket, SD_SEND) == SOCKET_ERROR) {
        log_error(LOG_HERE, "TSM: failed to shutdown socket with error: %d", WSAGetLastError());
    }
    if (closed != WSA_INVALID_EVENT) WaitForClose(*socket, closed, complete);
    log_debug(LOG_HERE, "TSM: closesocket");
    closesocket(*socket);
    *socket = INVALID_SOCKET;
    return TRUE;
}

}  // namespace tsmon
