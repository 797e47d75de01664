// Files, text streams and directories. Paths are UTF-16 (or of the code page for the narrow functions); "\" and "/"
// both separate, "C:" names the folder the host chose (control.h) and "Z:" the root of this machine; a relative path is
// looked up from the process's current directory. A name with <>:"|?* in it is refused (123); a path of 260
// characters or more, terminator included, is refused.
#pragma once

#include <sys/stat.h>  // so that a later inclusion does not bring its macro st_mtime back

#include <cstdio>

#include "winapi/linux/types.h"

#define FILE_SHARE_READ 0x1u
#define FILE_SHARE_WRITE 0x2u
#define OPEN_EXISTING 3u
#define FILE_ATTRIBUTE_NORMAL 0x80u

// Only to read a file that is there.
HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD flags, HANDLE template_file);
BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);
BOOL DeleteFileW(LPCWSTR path);
// Closes a handle of any kind (file, pipe end, process, thread, event). A failed close releases
// its resources all the same.
BOOL CloseHandle(HANDLE handle);

// As much of an entry as the product looks at.
struct WIN32_FIND_DATAW {
    WCHAR cFileName[MAX_PATH];
};

// The pattern is "*", in a folder or in the current one; entries come in the order of their names.
HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data);
BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data);
BOOL FindClose(HANDLE find);

// Of the C runtime. A failing one sets errno and leaves the system's reason as last error.
//
// _wopen knows the three ways to open that make the stream modes "r", "w" and "a", each as text or binary. Another open
// of the file is not refused; its deletion and renaming are (32) until it is closed. Child processes inherit it unless
// the flags say otherwise.
#define _O_RDONLY 0x0
#define _O_WRONLY 0x1
#define _O_APPEND 0x8
#define _O_NOINHERIT 0x80
#define _O_CREAT 0x100
#define _O_TRUNC 0x200
#define _O_TEXT 0x4000
#define _O_BINARY 0x8000
#define _S_IREAD 0x100
#define _S_IWRITE 0x80
int _wopen(LPCWSTR path, int flags, int permissions);
int _close(int descriptor);
// The stream takes the descriptor over, and closes it; a failure leaves it open. The mode is that of the open. Without
// "b" the stream writes CR LF for LF, and reads CR LF as LF.
FILE* _wfdopen(int descriptor, LPCWSTR mode);
int _waccess(LPCWSTR path, int mode);  // mode 0: existence
int _wrename(LPCWSTR from, LPCWSTR to);
int _mkdir(const char* path);
char* _getcwd(char* buffer, int size);
int _write(int descriptor, const void* data, unsigned int size);

#undef st_mtime  // glibc's macro for a member of struct stat, the field's plain name on Windows
#define _S_IFMT 0xF000
#define _S_IFDIR 0x4000
// As much of the runtime's file status as the product looks at.
struct _stat64 {
    unsigned short st_mode;
    long long st_mtime;  // seconds since 1970-01-01 UTC
};
int _wstat64(LPCWSTR path, struct _stat64* status);
