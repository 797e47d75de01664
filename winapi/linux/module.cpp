// Libraries, their string resources, and the process heap.
#include "winapi/linux/module.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <unordered_set>

#include "winapi/linux/control.h"
#include "winapi/linux/dll_entry.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winapi/linux/spooler.h"
#include "winapi/linux/text.h"

namespace {

using winapi::fail;
using winapi::the;
using winapi::fault::Point;

Point load_point("LoadLibraryW");
Point address_point("GetProcAddress");
Point free_point("FreeLibrary");
Point thread_calls_point("DisableThreadLibraryCalls");
Point string_point("LoadStringW");
Point directory_point("GetSystemDirectoryW");
Point alloc_point("GlobalAlloc");
Point global_free_point("GlobalFree");
Point malloc_point("malloc");
Point calloc_point("calloc");
Point realloc_point("realloc");

// The string tables of the libraries that have one.
struct Modules {
    std::mutex mutex;
    std::map<HINSTANCE, const winapi::StringResource*> strings;
};

char spooler_anchor;  // its address stands for the spooler's library
HINSTANCE spooler_module() {
    return reinterpret_cast<HINSTANCE>(&spooler_anchor);
}

bool names_spooler(LPCWSTR path) {
    const std::u16string text = path;
    const size_t last = text.find_last_of(u"\\/") + 1;  // npos + 1 is 0
    return lstrcmpiW(text.c_str() + last, u"SPOOLSS.DLL") == 0;
}

const WCHAR* find_string(HINSTANCE instance, UINT id) {
    const std::lock_guard lock(the<Modules>().mutex);
    const auto module = the<Modules>().strings.find(instance);
    if (module == the<Modules>().strings.end()) return nullptr;
    const winapi::StringResource* string = module->second;
    while (string->text != nullptr && string->id != id) ++string;
    return string->text;
}

// All memory of GlobalAlloc that was not freed with GlobalFree.
struct Heap {
    std::mutex mutex;
    std::unordered_set<void*> blocks;
};

void* out_of_memory() {
    errno = ENOMEM;
    return fail(ERROR_NOT_ENOUGH_MEMORY, nullptr);
}

}  // namespace

namespace winapi {

// A library's handle is its link map, which is also what dlopen gives here.
HINSTANCE register_module(const void* address, const StringResource* strings) {
    Dl_info info{};
    void* map = nullptr;
    dladdr1(address, &info, &map, RTLD_DL_LINKMAP);
    const auto instance = static_cast<HINSTANCE>(map);
    const std::lock_guard lock(the<Modules>().mutex);
    the<Modules>().strings[instance] = strings;
    return instance;
}

void unregister_module(HINSTANCE instance) {
    const std::lock_guard lock(the<Modules>().mutex);
    the<Modules>().strings.erase(instance);
}

size_t open_allocations() {
    const std::lock_guard lock(the<Heap>().mutex);
    return the<Heap>().blocks.size();
}

}  // namespace winapi

HMODULE LoadLibraryW(LPCWSTR path) {
    if (load_point.fails()) return fail(ERROR_MOD_NOT_FOUND, nullptr);
    if (names_spooler(path)) return spooler_module();
    std::string native;
    if (winapi::resolve_path(path, native) != 0 || access(native.c_str(), F_OK) != 0) {
        return fail(ERROR_MOD_NOT_FOUND, nullptr);
    }
    void* const handle = dlopen(native.c_str(), RTLD_NOW | RTLD_LOCAL);
    return handle != nullptr ? static_cast<HMODULE>(handle) : fail(ERROR_BAD_EXE_FORMAT, nullptr);
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    void* address = nullptr;
    if (address_point.fails()) return fail(ERROR_PROC_NOT_FOUND, nullptr);
    if (module != spooler_module()) {
        address = dlsym(module, name);
    } else if (std::strcmp(name, "EnumPortsW") == 0) {
        address = reinterpret_cast<void*>(&EnumPortsW);
    }
    return address != nullptr ? reinterpret_cast<FARPROC>(address) : fail(ERROR_PROC_NOT_FOUND, nullptr);
}

BOOL FreeLibrary(HMODULE module) {
    const bool injected = free_point.fails();
    if (module != spooler_module() && dlclose(module) != 0) {
        winapi::count_misuse();
        return fail(ERROR_MOD_NOT_FOUND);
    }
    return injected ? fail(ERROR_GEN_FAILURE) : TRUE;
}

BOOL DisableThreadLibraryCalls(HMODULE) {
    return thread_calls_point.fails() ? fail(ERROR_MOD_NOT_FOUND) : TRUE;
}

int LoadStringW(HINSTANCE instance, UINT id, LPWSTR buffer, int size) {
    const WCHAR* const text = string_point.fails() ? nullptr : find_string(instance, id);
    if (text == nullptr) return fail(ERROR_RESOURCE_NAME_NOT_FOUND);
    const int length = std::min(lstrlenW(text), size - 1);
    std::copy_n(text, length, buffer);
    buffer[length] = 0;
    return length;
}

UINT GetSystemDirectoryW(LPWSTR buffer, UINT size) {
    if (directory_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY, 0u);
    static constexpr WCHAR directory[] = u"C:\\Windows\\System32";
    constexpr UINT needed = std::size(directory);
    if (size < needed) return needed;
    std::copy_n(directory, needed, buffer);
    return needed - 1;
}

HGLOBAL GlobalAlloc(UINT flags, SIZE_T size) {
    if (alloc_point.fails()) return out_of_memory();
    if ((flags & ~GMEM_ZEROINIT) != 0) return fail(ERROR_INVALID_PARAMETER, nullptr);
    const size_t bytes = std::max<size_t>(size, 1);
    void* const block = (flags & GMEM_ZEROINIT) != 0 ? std::calloc(1, bytes) : std::malloc(bytes);
    if (block == nullptr) return out_of_memory();
    const std::lock_guard lock(the<Heap>().mutex);
    the<Heap>().blocks.insert(block);
    return block;
}

HGLOBAL GlobalFree(HGLOBAL memory) {
    const bool injected = global_free_point.fails();
    if (memory == nullptr) return nullptr;
    std::unique_lock lock(the<Heap>().mutex);
    const bool known = the<Heap>().blocks.erase(memory) != 0;
    lock.unlock();
    if (known) {
        std::free(memory);
    } else {
        winapi::count_misuse();
    }
    return known && !injected ? nullptr : fail(ERROR_INVALID_HANDLE, memory);
}

// Called by a library linked with --wrap in place of the plain functions.

extern "C" void* __wrap_malloc(size_t size) {
    return malloc_point.fails() ? out_of_memory() : malloc(size);
}

extern "C" void* __wrap_calloc(size_t count, size_t size) {
    return calloc_point.fails() ? out_of_memory() : calloc(count, size);
}

extern "C" void* __wrap_realloc(void* block, size_t size) {
    return realloc_point.fails() ? out_of_memory() : realloc(block, size);
}
