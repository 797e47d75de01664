#include "winapi/spooler_sim/windows/imports.h"

#include <cstring>

namespace spooler_sim {

bool visit_imports(HMODULE module,
                   const std::function<bool(const char* library, const char* name, Function& slot)>& visit) {
    auto* const image = reinterpret_cast<BYTE*>(module);
    const auto* const headers =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(image + reinterpret_cast<const IMAGE_DOS_HEADER*>(image)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0) return true;
    const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        // A linker may leave the first table out; its names are then in the second one only before loading.
        if (library->OriginalFirstThunk == 0) continue;
        const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA*>(image + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(image + library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
            const auto* const import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(image + name->u1.AddressOfData);
            if (!visit(reinterpret_cast<const char*>(image + library->Name),
                       reinterpret_cast<const char*>(import->Name), reinterpret_cast<Function&>(slot->u1.Function))) {
                return false;
            }
        }
    }
    return true;
}

bool set_import(Function& slot, Function function) {
    DWORD protection = 0;
    if (!VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection)) return false;
    slot = function;
    return VirtualProtect(&slot, sizeof slot, protection, &protection) != FALSE;
}

Function replace_import(HMODULE module, const char* name, Function function) {
    Function before = nullptr;
    visit_imports(module, [&](const char*, const char* imported, Function& slot) {
        if (std::strcmp(imported, name) != 0) return true;
        const Function found = slot;
        if (set_import(slot, function)) before = found;
        return false;
    });
    return before;
}

}  // namespace spooler_sim
