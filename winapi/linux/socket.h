// Windows Sockets over this machine's TCP sockets. Overloads by SOCKET keep these functions apart from the POSIX
// ones of the same names.
#pragma once

#include <netdb.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>

#include "winapi/linux/types.h"

using SOCKET = UINT_PTR;
using WSAEVENT = HANDLE;
using GROUP = unsigned int;
#define INVALID_SOCKET (~static_cast<SOCKET>(0))
#define SOCKET_ERROR (-1)
#define SD_SEND 1
#define FD_CLOSE 0x20L
#define FD_CLOSE_BIT 5
#define WSA_FLAG_OVERLAPPED 0x01u
#define WSA_FLAG_NO_HANDLE_INHERIT 0x80u
#define WSA_INVALID_EVENT (static_cast<WSAEVENT>(nullptr))
#define WSA_WAIT_EVENT_0 0u
#define WSA_WAIT_TIMEOUT 258u
#define WSA_WAIT_FAILED 0xFFFFFFFFu

#define WSAEACCES 10013
#define WSAEINVAL 10022
#define WSAEMFILE 10024
#define WSAEWOULDBLOCK 10035
#define WSAENOTSOCK 10038
#define WSAEAFNOSUPPORT 10047
#define WSAEADDRNOTAVAIL 10049
#define WSAENETDOWN 10050
#define WSAENETUNREACH 10051
#define WSAECONNABORTED 10053
#define WSAECONNRESET 10054
#define WSAENOBUFS 10055
#define WSAENOTCONN 10057
#define WSAETIMEDOUT 10060
#define WSAECONNREFUSED 10061
#define WSAEHOSTUNREACH 10065
#define WSASYSNOTREADY 10091
#define WSAVERNOTSUPPORTED 10092
#define WSANOTINITIALISED 10093
#define WSATYPE_NOT_FOUND 10109
#define WSAHOST_NOT_FOUND 11001
#define WSATRY_AGAIN 11002
#define WSANO_DATA 11004

struct WSADATA {
    WORD wVersion;
    WORD wHighVersion;
};

using ADDRINFOW = addrinfo;

struct WSANETWORKEVENTS {
    long lNetworkEvents;
    int iErrorCode[10];  // by FD_..._BIT
};

// Winsock's set of sockets is a counted array, not a bit set.
#define fd_set winsock_fd_set
struct winsock_fd_set {
    unsigned int fd_count;
    SOCKET fd_array[64];
};
#undef FD_ZERO
#undef FD_SET
#define FD_ZERO(set) ((set)->fd_count = 0)
#define FD_SET(socket, set) ((set)->fd_array[(set)->fd_count++] = (socket))

// Version 2.2. WSAStartup and WSACleanup are counted; between them the functions below fail with WSANOTINITIALISED.
int WSAStartup(WORD version, WSADATA* data);
int WSACleanup();
int WSAGetLastError();

int GetAddrInfoW(LPCWSTR node, LPCWSTR service, const ADDRINFOW* hints, ADDRINFOW** result);
void FreeAddrInfoW(ADDRINFOW* list);
SOCKET WSASocketW(int family, int type, int protocol, void* protocol_info, GROUP group, DWORD flags);
int connect(SOCKET socket, const struct sockaddr* address, int size);
int send(SOCKET socket, const char* data, int size, int flags);
// FIONBIO alone, and only to switch it on.
int ioctlsocket(SOCKET socket, long command, u_long* argument);
// SO_ERROR alone.
int getsockopt(SOCKET socket, int level, int name, char* value, int* size);
// Of one socket, and for no reading.
int select(int ignored, fd_set* read_set, fd_set* write_set, fd_set* except_set, const struct timeval* timeout);
int shutdown(SOCKET socket, int how);
int closesocket(SOCKET socket);

WSAEVENT WSACreateEvent();
BOOL WSACloseEvent(WSAEVENT event);
// Only FD_CLOSE. The event is set when the peer has closed its side and all it had sent has been read, or when the
// connection is lost; the socket no longer blocks from here on.
int WSAEventSelect(SOCKET socket, WSAEVENT event, long events);
// What has happened since the last call, and with which error: 0 for a graceful close.
int WSAEnumNetworkEvents(SOCKET socket, WSAEVENT event, WSANETWORKEVENTS* happened);
DWORD WSAWaitForMultipleEvents(DWORD count, const WSAEVENT* events, BOOL wait_all, DWORD timeout_ms, BOOL alertable);
