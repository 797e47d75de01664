// The port dialogs under Wine, on a display:
//
//     wine ui_tests.exe [--pictures FOLDER] [GoogleTest's options]
//
// With a folder, pictures of the dialogs are stored there besides. What is written below HKEY_LOCAL_MACHINE and into
// system32 is meant for a prefix of its own; anything but Wine is refused.
#include <cstdio>
#include <cstring>

#include "tests/ui/pictures.h"

int main(int count, char** arguments) {
    SetConsoleOutputCP(CP_UTF8);
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr) {
        std::printf("These tests are for Wine only.\n");
        return 2;
    }
    testing::InitGoogleTest(&count, arguments);
    if (count == 3 && std::strcmp(arguments[1], "--pictures") == 0) {
        ui::pictures_folder = arguments[2];
    } else if (count != 1) {
        std::printf("usage: ui_tests [--pictures FOLDER]\n");
        return 2;
    }
    if (!ui::install_libraries() || ui::library() == nullptr) {
        std::printf("The libraries cannot be installed (error %lu).\n", GetLastError());
        return 2;
    }
    return RUN_ALL_TESTS();
}
