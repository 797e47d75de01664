// Of Windows' tcpxcv.h, which mingw-w64 lacks: the commands of the Standard TCP/IP monitor's configuration channel.
#pragma once

#include "winapi/winapi.h"

#define PROTOCOL_RAWTCP_TYPE 1u
#define PROTOCOL_LPR_TYPE 2u
#define MAX_PORTNAME_LEN 64
#define MAX_NETWORKNAME_LEN 49
#define MAX_SNMP_COMMUNITY_STR_LEN 33
#define MAX_QUEUENAME_LEN 33
#define MAX_IPADDR_STR_LEN 16

// The input of "AddPort".
struct PORT_DATA_1 {
    WCHAR sztPortName[MAX_PORTNAME_LEN];
    DWORD dwVersion;  // 1
    DWORD dwProtocol;
    DWORD cbSize;
    DWORD dwReserved;
    WCHAR sztHostAddress[MAX_NETWORKNAME_LEN];  // a name or an IP address
    WCHAR sztSNMPCommunity[MAX_SNMP_COMMUNITY_STR_LEN];
    DWORD dwDoubleSpool;
    WCHAR sztQueue[MAX_QUEUENAME_LEN];
    WCHAR sztIPAddress[MAX_IPADDR_STR_LEN];
    BYTE Reserved[540];
    DWORD dwPortNumber;
    DWORD dwSNMPEnabled;
    DWORD dwSNMPDevIndex;
};
static_assert(sizeof(PORT_DATA_1) == 964);

// The input of "DeletePort".
struct DELETE_PORT_DATA_1 {
    WCHAR psztPortName[MAX_PORTNAME_LEN];
    BYTE Reserved[98];
    DWORD dwVersion;  // 1
    DWORD dwReserved;
};
static_assert(sizeof(DELETE_PORT_DATA_1) == 236);
