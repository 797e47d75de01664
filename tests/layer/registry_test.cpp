// What the product and the spooler's callbacks rely on in the registry.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using WideString = std::basic_string<WCHAR>;

constexpr LPCWSTR root_path = W("SOFTWARE\\tsprintportmon layer test");
constexpr LSTATUS success = ERROR_SUCCESS;

class RegistryTest : public testing::Test {
  protected:
    RegistryTest() { EXPECT_EQ(create(HKEY_LOCAL_MACHINE, root_path, KEY_ALL_ACCESS, &root_), success); }
    ~RegistryTest() override {
        for (const WideString& name : subkeys(root_)) RegDeleteKeyW(root_, name.c_str());
        RegCloseKey(root_);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, root_path);
    }

    static LSTATUS create(HKEY key, LPCWSTR path, REGSAM access, HKEY* result) {
        return RegCreateKeyExW(key, path, 0, nullptr, REG_OPTION_NON_VOLATILE, access, nullptr, result, nullptr);
    }

    static std::vector<WideString> subkeys(HKEY key) {
        std::vector<WideString> names;
        for (DWORD i = 0;; ++i) {
            WCHAR name[256];
            DWORD size = 256;
            const LSTATUS error = RegEnumKeyExW(key, i, name, &size, nullptr, nullptr, nullptr, nullptr);
            if (error != success) {
                EXPECT_EQ(error, LSTATUS{ERROR_NO_MORE_ITEMS});
                return names;
            }
            names.emplace_back(name, size);
        }
    }

    HKEY root_ = nullptr;
};

TEST_F(RegistryTest, ValuesAskForTheSizeTheyNeed) {
    WCHAR text[8] = W("printer");
    auto* const bytes = reinterpret_cast<BYTE*>(text);
    ASSERT_EQ(RegSetValueExW(root_, W("HostName"), 0, REG_SZ, bytes, sizeof text), success);
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(root_, W("hostNAME"), nullptr, &type, nullptr, &size), success);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(size, 16u);

    text[0] = 0;
    size = 15;
    EXPECT_EQ(RegQueryValueExW(root_, W("HostName"), nullptr, &type, bytes, &size), LSTATUS{ERROR_MORE_DATA});
    EXPECT_EQ(size, 16u);
    EXPECT_EQ(RegQueryValueExW(root_, W("HostName"), nullptr, nullptr, bytes, &size), success);
    EXPECT_EQ(WideString(text), W("printer"));
    EXPECT_EQ(RegDeleteValueW(root_, W("hostname")), success);
    EXPECT_EQ(RegQueryValueExW(root_, W("HostName"), nullptr, &type, bytes, &size), LSTATUS{ERROR_FILE_NOT_FOUND});
}

TEST_F(RegistryTest, SubkeysComeInTheOrderOfTheirNames) {
    for (LPCWSTR name : {W("lpt 2"), W("COM"), W("LPT 10"), W("ba"), W("\u00e4"), W("Z")}) {
        HKEY key = nullptr;
        ASSERT_EQ(create(root_, name, KEY_READ, &key), success);
        RegCloseKey(key);
        EXPECT_EQ(RegCloseKey(key), LSTATUS{ERROR_INVALID_HANDLE});
    }
    EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, root_path), LSTATUS{ERROR_ACCESS_DENIED}) << "it has subkeys";
    EXPECT_EQ(subkeys(root_),
              (std::vector<WideString>{W("ba"), W("COM"), W("LPT 10"), W("lpt 2"), W("Z"), W("\u00e4")}));

    WCHAR name[256];
    DWORD size = 6;
    EXPECT_EQ(RegEnumKeyExW(root_, 2, name, &size, nullptr, nullptr, nullptr, nullptr), LSTATUS{ERROR_MORE_DATA});
    size = 7;
    EXPECT_EQ(RegEnumKeyExW(root_, 2, name, &size, nullptr, nullptr, nullptr, nullptr), success);
    EXPECT_EQ(size, 6u);
}

}  // namespace
