// Internal to the layer: the table of open handles and the way errors are reported. Functions inside the layer return
// an error; only the outermost one, the Windows function itself, sets the last error.
#pragma once

#include <memory>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "winapi/linux/error.h"
#include "winapi/linux/types.h"

namespace winapi {

// The one object of a type in this process. It is never destroyed: a library may use it while the process ends.
template <typename T>
T& the() {
    static T* const instance = new T;
    return *instance;
}

// The object behind a handle. Each kind derives its own record from it (file.cpp: an open file).
struct Object {
    virtual ~Object() = default;
    // Releases what it holds, once, when its handle is closed; a Win32 error code.
    virtual DWORD close() { return 0; }
    // A word for a report of open handles.
    virtual const char* kind() const = 0;
    // The descriptor behind it, -1 when there is none.
    virtual int descriptor() const { return -1; }
    // Whether a child process started with handle inheritance keeps it open. Guarded by the table.
    bool inheritable = false;
};

HANDLE insert_handle(std::shared_ptr<Object> object);
// Null, and one more misuse, when the handle is not open.
std::shared_ptr<Object> find_handle(HANDLE handle);
// Takes it out of the table and closes it: 0, ERROR_INVALID_HANDLE, or what close() gave.
DWORD close_handle(HANDLE handle);
// The descriptors that a child process inherits now. While this is kept, no handle is closed.
struct Inheritance {
    std::shared_lock<std::shared_mutex> lock;
    std::vector<int> descriptors;
};
Inheritance inheritable_descriptors();
bool set_inheritable(HANDLE handle, bool inheritable);

// Null also when the object is of another kind.
template <typename T>
std::shared_ptr<T> find_handle_as(HANDLE handle) {
    return std::dynamic_pointer_cast<T>(find_handle(handle));
}

void count_misuse();

// Win32 and Winsock codes for an errno.
DWORD error_from_errno(int error);
int wsa_error_from_errno(int error);

// Sets the last error and returns what the function gives for a failure.
template <typename Result = BOOL>
Result fail(DWORD error, Result result = FALSE) {
    SetLastError(error);
    return result;
}
// What a function that did `error` returns: TRUE for 0.
inline BOOL finish(DWORD error) {
    return error == ERROR_SUCCESS ? TRUE : fail(error);
}

// The layer's clock: milliseconds that `milliseconds` of its time take in real time, and its time now.
std::int64_t real_milliseconds(DWORD milliseconds);
std::uint64_t clock_milliseconds();

// The form of a letter in which its case makes no difference, whatever the process's locale is. A letter beyond ASCII
// never turns into one within it (the Kelvin sign is no "k"), as in Windows' comparison. Names of the registry and
// lstrcmpiW use the same.
WCHAR fold_case(WCHAR c);
std::u16string to_utf16(const std::string& text);
std::string to_utf8(LPCWSTR text);

// 0 and the path of this machine that a Windows path names; or a Win32 error code.
DWORD resolve_path(LPCWSTR path, std::string& native);

}  // namespace winapi
