// The port dialogs under Wine, on a display:
//
//     wine ui_tests.exe [FOLDER] [GoogleTest's options]
//
// With a folder, pictures of the dialogs are stored there. What is written below HKEY_LOCAL_MACHINE and into
// system32 is meant for a prefix of its own; anything but Wine is refused.
#include <cstdio>

#include "tests/package/wine_spooler.h"
#include "tests/ui/dialogs.h"

int main(int count, char** arguments) {
    if (!wine_spooler::is_wine()) return 2;
    testing::InitGoogleTest(&count, arguments);
    if (count > 1) ui::pictures_folder = arguments[1];
    if (!ui::install_libraries() || ui::library() == nullptr) {
        std::printf("The libraries cannot be installed (error %lu).\n", GetLastError());
        return 2;
    }
    return RUN_ALL_TESTS();
}
