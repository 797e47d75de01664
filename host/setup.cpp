#include "host/setup.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "host/platform.h"
#include "winportmon/contract/port_config.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* spool_folders[] = {"activejobs", "forceattr", "hpc", "notapprovedjobs", "settings"};

bool append_lines(const std::string& path, const std::vector<std::string>& lines) {
    std::ofstream file(path_of(path), std::ios::app);
    for (const std::string& line : lines) file << line << '\n';
    file.flush();
    return static_cast<bool>(file);
}

struct Value {
    LPCWSTR name;
    DWORD type;
    const void* data;
    size_t size;
};

// Creates the key, which may be there already, with these values.
bool store(HKEY hive, const Text& path, std::initializer_list<Value> values) {
    HKEY key = nullptr;
    LSTATUS status = RegCreateKeyExW(hive, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                                     &key, nullptr);
    if (status != ERROR_SUCCESS) return false;
    for (const auto& [name, type, data, size] : values) {
        if (status != ERROR_SUCCESS) break;
        status = RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    }
    RegCloseKey(key);
    return status == ERROR_SUCCESS;
}

}  // namespace

BaseFolder base_folder(const std::string& install) {
    std::string below = BASE_FOLDER;
    std::replace(below.begin(), below.end(), '\\', '/');
    return {install, install + below};
}

bool set_up_base(const std::string& install, const std::vector<std::string>& conf, BaseFolder& folder,
                 std::string& why) {
    folder = base_folder(install);
    std::error_code error;
    for (const char* const name : spool_folders) {
        fs::create_directories(path_of(folder.spool(name)), error);
        if (error) return refuse(why, folder.spool(name) + ": " + error.message());
    }
    const std::string version = folder.base + "/" + kEnvVersionFileName;
    const bool versioned = fs::exists(path_of(version), error) || append_lines(version, {"envversion=15"});
    if (!versioned || !append_lines(folder.base + "/" + kSettingsFileName, conf)) {
        return refuse(why, "the settings in " + folder.base + " cannot be written");
    }
    return store_install_path(windows_path(install)) ||
           refuse(why, "the install path cannot be stored in the registry");
}

std::string make_temporary_folder() {
    std::random_device random;
    std::error_code error;
    const fs::path parent = fs::temp_directory_path(error);
    for (int attempt = 0; attempt < 10 && !error; ++attempt) {
        const fs::path folder = parent / ("printhost-" + std::to_string(random()));
        if (fs::create_directory(folder, error)) return utf8_of(folder);
    }
    return std::string();
}

bool store_port(const Text& name, const Text& address, DWORD port, HKEY hive, const Text& monitor_key) {
    contract::PortConfig config = {};
    std::copy_n(address.begin(), std::min(address.size(), contract::kPrinterAddressSize - 1), config.printer_address);
    return store(hive, monitor_key + W("\\") + contract::kPortsKey + W("\\") + name,
                 {{contract::kHostNameValue, REG_SZ, config.printer_address, sizeof config.printer_address},
                  {contract::kPortNumberValue, REG_DWORD, &port, sizeof port}});
}

bool store_install_path(const Text& path) {
    return store(HKEY_LOCAL_MACHINE, contract::kInstallPathKeys[0],
                 {{contract::kInstallPathValue, REG_SZ, path.c_str(), (path.size() + 1) * sizeof(WCHAR)}});
}

}  // namespace host
