// The symbols that the linker wrote name the functions of the library.
#include <gtest/gtest.h>

#include "host/platform.h"
#include "tests/support/files.h"
#include "tsport/doctor/binary.h"
#include "tsport/file.h"

namespace test {
namespace {

TEST(Symbols, NameTheFunctionOfAnAddress) {
    std::string pdb;
    std::string why;
    ASSERT_TRUE(tsport::read_file(host::executable_folder() + "/tsprintportmon.pdb", pdb, why)) << why;
    const HMODULE library = LoadLibraryW(host::to_text(host::executable_folder() + "\\tsprintportmon.dll").c_str());
    ASSERT_NE(library, nullptr);
    const auto start = reinterpret_cast<std::uintptr_t>(GetProcAddress(library, "InitializePrintMonitor2"));
    const auto address = static_cast<std::uint32_t>(start - reinterpret_cast<std::uintptr_t>(library));
    EXPECT_EQ(tsport::doctor::function_at(pdb, address + 5), "InitializePrintMonitor2");
    EXPECT_NE(tsport::doctor::function_at(pdb, address - 1), "InitializePrintMonitor2");
    EXPECT_EQ(tsport::doctor::function_at(pdb, 0xFFFFFFF0), "");
    EXPECT_EQ(tsport::doctor::function_at(pdb.substr(0, pdb.size() / 2), address), "");
    FreeLibrary(library);
}

}  // namespace
}  // namespace test
