// Last error, system message texts and debugger output.
#pragma once

#include "winapi/linux/types.h"

// Win32 error codes that the product or the layer names (winerror.h).
#define ERROR_SUCCESS 0u
#define ERROR_INVALID_FUNCTION 1u
#define ERROR_FILE_NOT_FOUND 2u
#define ERROR_PATH_NOT_FOUND 3u
#define ERROR_TOO_MANY_OPEN_FILES 4u
#define ERROR_ACCESS_DENIED 5u
#define ERROR_INVALID_HANDLE 6u
#define ERROR_NOT_ENOUGH_MEMORY 8u
#define ERROR_INVALID_DATA 13u
#define ERROR_NO_MORE_FILES 18u
#define ERROR_WRITE_FAULT 29u
#define ERROR_READ_FAULT 30u
#define ERROR_GEN_FAILURE 31u
#define ERROR_SHARING_VIOLATION 32u
#define ERROR_HANDLE_EOF 38u
#define ERROR_NOT_SUPPORTED 50u
#define ERROR_INVALID_PARAMETER 87u
#define ERROR_BROKEN_PIPE 109u
#define ERROR_BUFFER_OVERFLOW 111u
#define ERROR_DISK_FULL 112u
#define ERROR_CALL_NOT_IMPLEMENTED 120u
#define ERROR_INSUFFICIENT_BUFFER 122u
#define ERROR_INVALID_NAME 123u
#define ERROR_INVALID_LEVEL 124u
#define ERROR_MOD_NOT_FOUND 126u
#define ERROR_PROC_NOT_FOUND 127u
#define ERROR_BUSY 170u
#define ERROR_BAD_EXE_FORMAT 193u
#define ERROR_ALREADY_EXISTS 183u
#define ERROR_FILENAME_EXCED_RANGE 206u
#define ERROR_NO_DATA 232u
#define ERROR_MORE_DATA 234u
#define ERROR_NO_MORE_ITEMS 259u
#define ERROR_MR_MID_NOT_FOUND 317u
#define ERROR_NO_TOKEN 1008u
#define ERROR_CANTWRITE 1013u
#define ERROR_BAD_IMPERSONATION_LEVEL 1346u
#define ERROR_NO_SYSTEM_RESOURCES 1450u
#define ERROR_TIMEOUT 1460u
#define ERROR_UNKNOWN_PORT 1796u
#define ERROR_INVALID_PRINTER_NAME 1801u
#define ERROR_RESOURCE_NAME_NOT_FOUND 1814u
#define RPC_S_SERVER_UNAVAILABLE 1722

// Per thread; a failing function of the layer sets it, a succeeding one leaves it as it was.
DWORD GetLastError();
void SetLastError(DWORD code);

#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000u
#define LANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define MAKELANGID(primary, sub) ((static_cast<WORD>(sub) << 10) | static_cast<WORD>(primary))

// System message texts only (FROM_SYSTEM | IGNORE_INSERTS); a text ends in CR LF, as Windows' do. A code
// without a text gives 0 and ERROR_MR_MID_NOT_FOUND.
DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD message_id, DWORD language_id, LPWSTR buffer, DWORD size,
                     void* arguments);

void OutputDebugStringA(LPCSTR text);
