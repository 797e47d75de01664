// Libraries, their string resources, and the process heap.
#include "winapi/linux/module.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
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

struct Module {
    HINSTANCE instance;
    const winapi::StringResource* strings;  // null when it has none
    const link_map* map;                    // which library of this machine it is
    void* native;                           // from dlopen, null before the first load
    unsigned loads;
};

// The dynamic linker holds its own lock while a library's entry code registers, so none of its functions is
// called with this lock held.
struct Modules {
    std::mutex mutex;
    std::vector<Module> list;
};

Modules& modules() {
    static Modules* const instance = new Modules;  // outlives every static of the process
    return *instance;
}

char spooler_anchor;  // its address stands for the spooler's library
HINSTANCE spooler_module() {
    return reinterpret_cast<HINSTANCE>(&spooler_anchor);
}

// The caller holds the lock.
template <typename Matches>
Module* find_module(Matches matches) {
    auto& list = modules().list;
    const auto found = std::find_if(list.begin(), list.end(), matches);
    return found == list.end() ? nullptr : &*found;
}

Module* find_module(HINSTANCE instance) {
    return find_module([instance](const Module& module) { return module.instance == instance; });
}

const link_map* map_of_address(const void* address) {
    Dl_info info{};
    void* map = nullptr;
    return dladdr1(address, &info, &map, RTLD_DL_LINKMAP) != 0 ? static_cast<const link_map*>(map) : nullptr;
}

HMODULE count_load(const link_map* map, void* native) {
    const std::lock_guard lock(modules().mutex);
    Module* module = find_module([map](const Module& one) { return one.map == map; });
    if (module == nullptr) {
        // A library without our entry code: its link map serves as its instance handle.
        const auto instance = reinterpret_cast<HINSTANCE>(const_cast<link_map*>(map));
        module = &modules().list.emplace_back(Module{instance, nullptr, map, nullptr, 0});
    }
    module->native = native;
    ++module->loads;
    return module->instance;
}

HMODULE load_spooler() {
    const std::lock_guard lock(modules().mutex);
    Module* module = find_module(spooler_module());
    if (module == nullptr) {
        module = &modules().list.emplace_back(Module{spooler_module(), nullptr, nullptr, nullptr, 0});
    }
    ++module->loads;
    return module->instance;
}

bool names_spooler(LPCWSTR path) {
    const std::u16string text = path;
    const size_t last = text.find_last_of(u"\\/") + 1;  // npos + 1 is 0
    return lstrcmpiW(text.c_str() + last, u"SPOOLSS.DLL") == 0;
}

}  // namespace

namespace winapi {

void register_module(HINSTANCE instance, const StringResource* strings) {
    const link_map* const map = map_of_address(instance);
    const std::lock_guard lock(modules().mutex);
    modules().list.push_back(Module{instance, strings, map, nullptr, 0});
}

void unregister_module(HINSTANCE instance) {
    const std::lock_guard lock(modules().mutex);
    std::erase_if(modules().list, [instance](const Module& module) { return module.instance == instance; });
}

}  // namespace winapi

HMODULE LoadLibraryW(LPCWSTR path) {
    if (load_point.fails() || path == nullptr) return winapi::fail(ERROR_MOD_NOT_FOUND, nullptr);
    if (names_spooler(path)) return load_spooler();
    std::string native;
    if (winapi::resolve_path(path, native) != 0 || access(native.c_str(), F_OK) != 0) {
        return winapi::fail(ERROR_MOD_NOT_FOUND, nullptr);
    }
    void* const handle = dlopen(native.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return winapi::fail(ERROR_BAD_EXE_FORMAT, nullptr);
    link_map* map = nullptr;
    dlinfo(handle, RTLD_DI_LINKMAP, &map);
    return count_load(map, handle);
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    void* native = nullptr;
    const link_map* map = nullptr;
    {
        const std::lock_guard lock(modules().mutex);
        if (const Module* const found = find_module(module)) {
            native = found->native;
            map = found->map;
        }
    }
    void* address = nullptr;
    if (!address_point.fails()) {
        if (module == spooler_module() && std::strcmp(name, "EnumPortsW") == 0) {
            return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&EnumPortsW));
        }
        if (native != nullptr) address = dlsym(native, name);
    }
    // dlsym looks through the libraries that this one needs too.
    if (address == nullptr || map_of_address(address) != map) return winapi::fail(ERROR_PROC_NOT_FOUND, nullptr);
    return reinterpret_cast<FARPROC>(address);
}

BOOL FreeLibrary(HMODULE module) {
    const bool injected = free_point.fails();
    void* native = nullptr;
    {
        const std::lock_guard lock(modules().mutex);
        Module* const found = find_module(module);
        if (found == nullptr || found->loads == 0) {
            winapi::count_misuse();
            return winapi::fail(ERROR_MOD_NOT_FOUND);
        }
        native = found->native;
        if (--found->loads == 0) found->native = nullptr;
        // A library with our entry code is removed when that unregisters.
        if (found->loads == 0 && found->strings == nullptr) {
            std::erase_if(modules().list, [module](const Module& one) { return one.instance == module; });
        }
    }
    if (native != nullptr) dlclose(native);
    return injected ? winapi::fail(ERROR_GEN_FAILURE) : TRUE;
}

BOOL DisableThreadLibraryCalls(HMODULE module) {
    if (thread_calls_point.fails()) return winapi::fail(ERROR_MOD_NOT_FOUND);
    const std::lock_guard lock(modules().mutex);
    return find_module(module) != nullptr ? TRUE : winapi::fail(ERROR_MOD_NOT_FOUND);
}

namespace {

const WCHAR* find_string(HINSTANCE instance, UINT id) {
    const std::lock_guard lock(modules().mutex);
    const Module* const module = find_module(instance);
    if (module == nullptr || module->strings == nullptr) return nullptr;
    const winapi::StringResource* string = module->strings;
    while (string->text != nullptr && string->id != id) ++string;
    return string->text;
}

// All memory of GlobalAlloc that was not freed with GlobalFree.
struct Heap {
    std::mutex mutex;
    std::unordered_set<void*> blocks;
};

Heap& heap() {
    static Heap* const instance = new Heap;  // outlives every static of the process
    return *instance;
}

void* out_of_memory() {
    errno = ENOMEM;
    return winapi::fail(ERROR_NOT_ENOUGH_MEMORY, nullptr);
}

}  // namespace

int LoadStringW(HINSTANCE instance, UINT id, LPWSTR buffer, int size) {
    if (buffer == nullptr || size <= 0) return winapi::fail(ERROR_INVALID_PARAMETER);
    const WCHAR* const text = string_point.fails() ? nullptr : find_string(instance, id);
    if (text == nullptr) return winapi::fail(ERROR_RESOURCE_NAME_NOT_FOUND);
    const int length = std::min(lstrlenW(text), size - 1);
    std::copy_n(text, length, buffer);
    buffer[length] = 0;
    return length;
}

UINT GetSystemDirectoryW(LPWSTR buffer, UINT size) {
    if (directory_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY, 0u);
    static constexpr WCHAR directory[] = u"C:\\Windows\\System32";
    constexpr UINT needed = std::size(directory);
    if (buffer == nullptr || size < needed) return needed;
    std::copy_n(directory, needed, buffer);
    return needed - 1;
}

namespace winapi {

size_t open_allocations() {
    const std::lock_guard lock(heap().mutex);
    return heap().blocks.size();
}

}  // namespace winapi

HGLOBAL GlobalAlloc(UINT flags, SIZE_T size) {
    if (alloc_point.fails()) return out_of_memory();
    if ((flags & ~GMEM_ZEROINIT) != 0) return winapi::fail(ERROR_INVALID_PARAMETER, nullptr);
    const size_t bytes = std::max<size_t>(size, 1);
    void* const block = (flags & GMEM_ZEROINIT) != 0 ? std::calloc(1, bytes) : std::malloc(bytes);
    if (block == nullptr) return out_of_memory();
    const std::lock_guard lock(heap().mutex);
    heap().blocks.insert(block);
    return block;
}

HGLOBAL GlobalFree(HGLOBAL memory) {
    const bool injected = global_free_point.fails();
    if (memory == nullptr) return nullptr;
    bool known = false;
    {
        const std::lock_guard lock(heap().mutex);
        known = heap().blocks.erase(memory) != 0;
    }
    if (known) {
        std::free(memory);
    } else {
        winapi::count_misuse();
    }
    if (known && !injected) return nullptr;
    return winapi::fail(ERROR_INVALID_HANDLE, memory);
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
