// The print spooler, as a monitor sees it: the functions of winspool.drv and spoolss.dll that the monitor calls, and
// the records of the monitor interface (winsplp.h). Behind them stands the simulation in winapi/spooler_sim/.
#pragma once

#include "winapi/linux/types.h"

struct COMMTIMEOUTS;
struct BIDI_REQUEST_CONTAINER;
struct BIDI_RESPONSE_CONTAINER;

// A driver's settings: only what tells their size is known here.
struct DEVMODEW {
    WCHAR dmDeviceName[32];
    WORD dmSpecVersion;
    WORD dmDriverVersion;
    WORD dmSize;
    WORD dmDriverExtra;
};

struct PRINTER_DEFAULTSW {
    LPWSTR pDatatype;
    DEVMODEW* pDevMode;
    ACCESS_MASK DesiredAccess;
};

#define SERVER_ACCESS_ADMINISTER 0x00000001u
#define PRINTER_ACCESS_ADMINISTER 0x00000004u
#define PRINTER_ACCESS_USE 0x00000008u
#define PRINTER_ALL_ACCESS 0x000F000Cu

#define JOB_CONTROL_PAUSE 1u
#define JOB_CONTROL_RESUME 2u
#define JOB_CONTROL_CANCEL 3u
#define JOB_CONTROL_RESTART 4u
#define JOB_CONTROL_DELETE 5u
#define JOB_CONTROL_SENT_TO_PRINTER 6u
#define JOB_POSITION_UNSPECIFIED 0u

#define JOB_STATUS_PAUSED 0x1u
#define JOB_STATUS_ERROR 0x2u
#define JOB_STATUS_DELETING 0x4u
#define JOB_STATUS_SPOOLING 0x8u
#define JOB_STATUS_PRINTING 0x10u
#define JOB_STATUS_OFFLINE 0x20u
#define JOB_STATUS_PAPEROUT 0x40u
#define JOB_STATUS_PRINTED 0x80u
#define JOB_STATUS_DELETED 0x100u
#define JOB_STATUS_RESTART 0x800u

#define PRINTER_STATUS_PAUSED 0x1u
#define PRINTER_STATUS_ERROR 0x2u
#define PRINTER_STATUS_PENDING_DELETION 0x4u
#define PRINTER_STATUS_PAPER_JAM 0x8u
#define PRINTER_STATUS_PAPER_OUT 0x10u
#define PRINTER_STATUS_OFFLINE 0x80u
#define PRINTER_STATUS_OUTPUT_BIN_FULL 0x800u
#define PRINTER_STATUS_TONER_LOW 0x20000u
#define PRINTER_STATUS_NO_TONER 0x40000u
#define PRINTER_STATUS_DOOR_OPEN 0x400000u

#define PRINTER_ATTRIBUTE_SHARED 0x8u
#define PRINTER_ATTRIBUTE_PUBLISHED 0x2000u

#define PORT_TYPE_WRITE 0x1u
#define PORT_TYPE_READ 0x2u
#define PORT_TYPE_NET_ATTACHED 0x8u

struct SYSTEMTIME;

struct JOB_INFO_2W {
    DWORD JobId;
    LPWSTR pPrinterName;
    LPWSTR pMachineName;
    LPWSTR pUserName;
    LPWSTR pDocument;
    LPWSTR pNotifyName;
    LPWSTR pDatatype;
    LPWSTR pPrintProcessor;
    LPWSTR pParameters;
    LPWSTR pDriverName;
    DEVMODEW* pDevMode;
    LPWSTR pStatus;
    void* pSecurityDescriptor;
    DWORD Status;
    DWORD Priority;
    DWORD Position;
    DWORD StartTime;
    DWORD UntilTime;
    DWORD TotalPages;
    DWORD Size;
    WORD Submitted[8];
    DWORD Time;
    DWORD PagesPrinted;
};

struct PRINTER_INFO_2W {
    LPWSTR pServerName;
    LPWSTR pPrinterName;
    LPWSTR pShareName;
    LPWSTR pPortName;
    LPWSTR pDriverName;
    LPWSTR pComment;
    LPWSTR pLocation;
    DEVMODEW* pDevMode;
    LPWSTR pSepFile;
    LPWSTR pPrintProcessor;
    LPWSTR pDatatype;
    LPWSTR pParameters;
    void* pSecurityDescriptor;
    DWORD Attributes;
    DWORD Priority;
    DWORD DefaultPriority;
    DWORD StartTime;
    DWORD UntilTime;
    DWORD Status;
    DWORD cJobs;
    DWORD AveragePPM;
};

struct PRINTER_INFO_6 {
    DWORD dwStatus;
};

struct MONITOR_INFO_1W {
    LPWSTR pName;
};

struct PORT_INFO_1W {
    LPWSTR pName;
};

struct PORT_INFO_2W {
    LPWSTR pPortName;
    LPWSTR pMonitorName;
    LPWSTR pDescription;
    DWORD fPortType;
    DWORD Reserved;
};

BOOL OpenPrinterW(LPWSTR name, HANDLE* printer, PRINTER_DEFAULTSW* defaults);
BOOL ClosePrinter(HANDLE printer);
BOOL GetJobW(HANDLE printer, DWORD job_id, DWORD level, BYTE* buffer, DWORD size, DWORD* needed);
BOOL SetJobW(HANDLE printer, DWORD job_id, DWORD level, BYTE* job, DWORD command);
BOOL GetPrinterW(HANDLE printer, DWORD level, BYTE* buffer, DWORD size, DWORD* needed);
BOOL SetPrinterW(HANDLE printer, DWORD level, BYTE* data, DWORD command);
BOOL EnumPortsW(LPWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned);
// What only tools ask: printers (level 2), monitors (level 1), and the configuration channel.
#define SERVER_ACCESS_ENUMERATE 0x00000002u
#define PRINTER_ENUM_LOCAL 0x2u
#define PRINTER_ENUM_NAME 0x8u
BOOL EnumPrintersW(DWORD flags, LPWSTR name, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned);
BOOL EnumMonitorsW(LPWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned);
BOOL XcvDataW(HANDLE channel, LPCWSTR command, BYTE* input, DWORD input_size, BYTE* output, DWORD output_size,
              DWORD* needed, DWORD* status);
HANDLE RevertToPrinterSelf();
BOOL ImpersonatePrinterClient(HANDLE token);

struct MONITORREG {
    DWORD cbSize;
    LONG(*fpCreateKey)
    (HANDLE key, LPCWSTR subkey, DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security, HANDLE* result,
     DWORD* disposition, HANDLE spooler);
    LONG (*fpOpenKey)(HANDLE key, LPCWSTR subkey, REGSAM access, HANDLE* result, HANDLE spooler);
    LONG (*fpCloseKey)(HANDLE key, HANDLE spooler);
    LONG (*fpDeleteKey)(HANDLE key, LPCWSTR subkey, HANDLE spooler);
    LONG (*fpEnumKey)(HANDLE key, DWORD index, LPWSTR name, DWORD* name_size, FILETIME* last_write, HANDLE spooler);
    LONG(*fpQueryInfoKey)
    (HANDLE key, DWORD* subkeys, DWORD* key_size, DWORD* values, DWORD* value_size, DWORD* data_size,
     DWORD* security_size, FILETIME* last_write, HANDLE spooler);
    LONG (*fpSetValue)(HANDLE key, LPCWSTR value, DWORD type, const BYTE* data, DWORD size, HANDLE spooler);
    LONG (*fpDeleteValue)(HANDLE key, LPCWSTR value, HANDLE spooler);
    LONG(*fpEnumValue)
    (HANDLE key, DWORD index, LPWSTR value, DWORD* value_size, DWORD* type, BYTE* data, DWORD* size, HANDLE spooler);
    LONG (*fpQueryValue)(HANDLE key, LPCWSTR value, DWORD* type, BYTE* data, DWORD* size, HANDLE spooler);
};

struct MONITORINIT {
    DWORD cbSize;
    HANDLE hSpooler;
    HKEY hckRegistryRoot;
    MONITORREG* pMonitorReg;
    BOOL bLocal;
    LPCWSTR pszServerName;
};
using PMONITORINIT = MONITORINIT*;

struct MONITOR2 {
    DWORD cbSize;
    BOOL(*pfnEnumPorts)
    (HANDLE monitor, LPWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned);
    BOOL (*pfnOpenPort)(HANDLE monitor, LPWSTR name, HANDLE* port);
    BOOL(*pfnOpenPortEx)
    (HANDLE monitor, HANDLE monitor_port, LPWSTR port_name, LPWSTR printer_name, HANDLE* port, MONITOR2* other);
    BOOL (*pfnStartDocPort)(HANDLE port, LPWSTR printer_name, DWORD job_id, DWORD level, BYTE* document);
    BOOL (*pfnWritePort)(HANDLE port, BYTE* data, DWORD size, DWORD* written);
    BOOL (*pfnReadPort)(HANDLE port, BYTE* buffer, DWORD size, DWORD* read);
    BOOL (*pfnEndDocPort)(HANDLE port);
    BOOL (*pfnClosePort)(HANDLE port);
    BOOL (*pfnAddPort)(HANDLE monitor, LPWSTR name, HWND window, LPWSTR monitor_name);
    BOOL (*pfnAddPortEx)(HANDLE monitor, LPWSTR name, DWORD level, BYTE* buffer, LPWSTR monitor_name);
    BOOL (*pfnConfigurePort)(HANDLE monitor, LPWSTR name, HWND window, LPWSTR port_name);
    BOOL (*pfnDeletePort)(HANDLE monitor, LPWSTR name, HWND window, LPWSTR port_name);
    BOOL(*pfnGetPrinterDataFromPort)
    (HANDLE port, DWORD control, LPWSTR value, LPWSTR in, DWORD in_size, LPWSTR out, DWORD out_size, DWORD* returned);
    BOOL (*pfnSetPortTimeOuts)(HANDLE port, COMMTIMEOUTS* timeouts, DWORD reserved);
    BOOL (*pfnXcvOpenPort)(HANDLE monitor, LPCWSTR object, ACCESS_MASK granted, HANDLE* xcv);
    DWORD(*pfnXcvDataPort)
    (HANDLE xcv, LPCWSTR name, BYTE* in, DWORD in_size, BYTE* out, DWORD out_size, DWORD* needed);
    BOOL (*pfnXcvClosePort)(HANDLE xcv);
    void (*pfnShutdown)(HANDLE monitor);
    DWORD(*pfnSendRecvBidiDataFromPort)
    (HANDLE port, DWORD access, LPCWSTR action, BIDI_REQUEST_CONTAINER* request, BIDI_RESPONSE_CONTAINER** response);
};
using LPMONITOR2 = MONITOR2*;
