// What only the layer's libraries have: libraries of this machine, tables of strings, counts, fault points.
#include "winapi/winapi.h"
// The front door comes first, as in the product.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>

#include "winapi/linux/control.h"
#include "winapi/linux/dll_entry.h"
#include "winapi/linux/fault.h"

extern "C" void* __wrap_malloc(size_t size);
extern "C" void* __wrap_calloc(size_t count, size_t size);
extern "C" void* __wrap_realloc(void* block, size_t size);

namespace {

using winapi::fault::Mode;

std::u16string library_of(void* address) {
    Dl_info info{};
    dladdr(address, &info);
    char* const real = realpath(info.dli_fname, nullptr);
    const std::u16string path = winapi::windows_path(real);
    std::free(real);
    return path;
}

TEST(LinuxModule, LoadsLibrariesOfThisMachine) {
    const size_t before = winapi::open_libraries();
    const std::u16string libm = library_of(dlsym(RTLD_DEFAULT, "erf"));
    const HMODULE first = LoadLibraryW(libm.c_str());
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(first, LoadLibraryW(libm.c_str()));
    EXPECT_EQ(before + 2, winapi::open_libraries());
    EXPECT_NE(nullptr, GetProcAddress(first, "erf"));
    EXPECT_EQ(nullptr, GetProcAddress(first, "InitializePrintMonitor2"));
    EXPECT_EQ(ERROR_PROC_NOT_FOUND, GetLastError());
    EXPECT_EQ(nullptr, GetProcAddress(first, "gnu_get_libc_version"));  // in a library that it needs, not in itself
    EXPECT_TRUE(FreeLibrary(first));
    EXPECT_TRUE(FreeLibrary(first));
    EXPECT_EQ(before, winapi::open_libraries());
    EXPECT_FALSE(FreeLibrary(first));
    EXPECT_EQ(nullptr, LoadLibraryW(winapi::windows_path("/etc/passwd").c_str()));
    EXPECT_EQ(ERROR_BAD_EXE_FORMAT, GetLastError());
}

TEST(LinuxModule, TheSpoolersLibraryHoldsEnumPorts) {
    for (LPCWSTR path : {u"C:\\Windows\\System32\\SPOOLSS.DLL", u"spoolss.dll"}) {
        const HMODULE spooler = LoadLibraryW(path);
        ASSERT_NE(nullptr, spooler);
        EXPECT_NE(nullptr, GetProcAddress(spooler, "EnumPortsW"));
        EXPECT_EQ(nullptr, GetProcAddress(spooler, "EnumPortsA"));
        EXPECT_TRUE(FreeLibrary(spooler));
    }
}

TEST(LinuxModule, StringsAreCutToTheBuffer) {
    static const winapi::StringResource strings[] = {{500, u"A port"}, {507, u"Other"}, {0, nullptr}};
    static char anchor;
    const auto instance = reinterpret_cast<HINSTANCE>(&anchor);
    WCHAR text[16] = {};
    EXPECT_EQ(0, LoadStringW(instance, 500, text, 16));
    winapi::register_module(instance, strings);
    EXPECT_TRUE(DisableThreadLibraryCalls(instance));
    EXPECT_EQ(5, LoadStringW(instance, 507, text, 16));
    EXPECT_STREQ("Other", std::string(text, text + 5).c_str());
    EXPECT_EQ(3, LoadStringW(instance, 500, text, 4));
    EXPECT_EQ(0, lstrcmpiW(u"A p", text));
    EXPECT_EQ(0, LoadStringW(instance, 501, text, 16));
    EXPECT_EQ(ERROR_RESOURCE_NAME_NOT_FOUND, GetLastError());
    winapi::unregister_module(instance);
    EXPECT_FALSE(DisableThreadLibraryCalls(instance));
}

TEST(LinuxModule, AllocationsAreCountedAndCanFail) {
    const size_t before = winapi::open_allocations();
    const auto misuses = winapi::misuses();
    const HGLOBAL block = GlobalAlloc(GPTR, 8);
    EXPECT_EQ(before + 1, winapi::open_allocations());
    EXPECT_EQ(nullptr, GlobalFree(block));
    EXPECT_EQ(before, winapi::open_allocations());
    char foreign = 0;
    EXPECT_EQ(&foreign, GlobalFree(&foreign));
    EXPECT_EQ(misuses + 1, winapi::misuses());

    void* kept = __wrap_malloc(8);
    winapi::fault::arm(1, Mode::from_then_on);
    EXPECT_EQ(nullptr, GlobalAlloc(GPTR, 8));
    SetLastError(0);
    errno = 0;
    EXPECT_EQ(nullptr, __wrap_malloc(8));
    EXPECT_EQ(ENOMEM, errno);
    EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, GetLastError());
    EXPECT_EQ(nullptr, __wrap_calloc(1, 8));
    EXPECT_EQ(nullptr, __wrap_realloc(kept, 16));
    winapi::fault::disarm();
    std::free(kept);
}

}  // namespace
