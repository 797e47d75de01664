// The finished library in Wine's own spooler:
//
//     wine spooler_tests.exe FOLDER [GoogleTest's options]
//
// FOLDER holds what the printers outside Wine write, as tools/windows.sh has started them; files of the tests go there
// too. What is written below HKEY_LOCAL_MACHINE and into system32 is meant for a Wine prefix of its own; anything but
// Wine is refused.
#include <cstdio>

#include "tests/package/spooler_server.h"

int main(int count, char** arguments) {
    if (!wine_spooler::is_wine()) return 2;
    testing::InitGoogleTest(&count, arguments);
    if (count != 2) {
        std::printf("usage: spooler_tests FOLDER\n");
        return 2;
    }
    test::set_test_folder(arguments[1]);
    return RUN_ALL_TESTS();
}
