#include "tests/package/import_table.h"

#include <cstring>

namespace test {

ULONG_PTR replace_import(HMODULE library, const char* name, ULONG_PTR function) {
    auto* const image = reinterpret_cast<BYTE*>(library);
    const auto* const headers =
        reinterpret_cast<IMAGE_NT_HEADERS*>(image + reinterpret_cast<IMAGE_DOS_HEADER*>(image)->e_lfanew);
    const DWORD table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto* from = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(image + table); from->Name != 0; ++from) {
        const auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(image + from->OriginalFirstThunk);
        auto* addresses = reinterpret_cast<IMAGE_THUNK_DATA*>(image + from->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
            const auto* const by_name = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(image + names->u1.AddressOfData);
            if (std::strcmp(by_name->Name, name) != 0) continue;
            ULONG_PTR& place = addresses->u1.Function;
            DWORD protection = 0;
            if (!VirtualProtect(&place, sizeof place, PAGE_READWRITE, &protection)) return 0;
            const ULONG_PTR before = place;
            place = function;
            VirtualProtect(&place, sizeof place, protection, &protection);
            return before;
        }
    }
    return 0;
}

}  // namespace test
