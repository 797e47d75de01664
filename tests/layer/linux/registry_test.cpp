// The registry's text file.
#include "winapi/winapi.h"
// The front door comes first, as in the product.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "winapi/linux/control.h"

namespace {

namespace fs = std::filesystem;

class RegistryFileTest : public testing::Test {
  protected:
    RegistryFileTest() { winapi::clear_registry(); }
    ~RegistryFileTest() override {
        winapi::clear_registry();
        fs::remove(file_);
    }

    bool load(const std::string& text) const {
        std::ofstream(file_, std::ios::binary) << text;
        return winapi::load_registry(file_);
    }
    std::string saved() const {
        EXPECT_TRUE(winapi::save_registry(file_));
        std::ostringstream text;
        text << std::ifstream(file_, std::ios::binary).rdbuf();
        return text.str();
    }

    fs::path file_ = fs::temp_directory_path() / ("registry_test_" + std::to_string(getpid()));
};

TEST_F(RegistryFileTest, KeepsNamesAndDataOfEveryKind) {
    const std::u16string odd = u"]=\"%\r\n\u0001[\u00e9\U0001F5A8";
    const std::u16string half_pair = std::u16string(u"a\xD800") + u"b";
    HKEY key = nullptr;
    for (const std::u16string& path : {u"Ports\\" + odd, u"Ports\\" + half_pair, std::u16string(u"Ports\\ \\x]")}) {
        ASSERT_EQ(0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                     nullptr));
        const auto* const bytes = reinterpret_cast<const BYTE*>(odd.c_str());
        const auto size = static_cast<DWORD>((odd.size() + 1) * sizeof(WCHAR));
        RegSetValueExW(key, odd.c_str(), 0, REG_SZ, bytes, size);
        RegSetValueExW(key, u"unterminated", 0, REG_SZ, bytes, size - 2);
        RegSetValueExW(key, u"", 0, REG_BINARY, nullptr, 0);
        RegSetValueExW(key, half_pair.c_str(), 0, REG_DWORD, bytes, 4);
        RegCloseKey(key);
    }
    const std::string before = saved();
    winapi::clear_registry();
    EXPECT_EQ("", saved());
    EXPECT_TRUE(load(before));
    EXPECT_EQ(before, saved());
}

TEST_F(RegistryFileTest, AMalformedFileChangesNothing) {
    const std::string good = "[A\\B]\n\"n\"=text:\"v\"\n";
    ASSERT_TRUE(load("# by hand\r\n\r\n[A\\B]\r\n\"n\"=text:\"v\"\r\n"));
    for (const std::string bad :
         {"\"n\"=text:\"v\"\n", "[A\n", "[A\\\\B]\n", "[]A\n", "[A]\nn=text:\"v\"\n", "[A]\n\"n\"text:\"v\"\n",
          "[A]\n\"n\"=text:\"v\"x\n", "[A]\n\"n\"=dword:1\n", "[A]\n\"n\"=dword:0000000g\n", "[A]\n\"n\"=hex(3):0\n",
          "[A]\n\"n\"=hex():00\n", "[A]\n\"n%00\"=hex(3):\n", "[A]\n\"n%\"=hex(3):\n", "[A]\n\"n\"=other:1\n",
          "[%]\n"}) {
        EXPECT_FALSE(load(bad)) << bad;
    }
    EXPECT_FALSE(winapi::load_registry(file_.string() + ".none"));
    EXPECT_FALSE(winapi::save_registry(file_.string() + ".none/file"));
    EXPECT_EQ("[A]\n" + good, saved());
}

}  // namespace
