// A monitor that this process loads itself.
#include <filesystem>

#include "tools/host/monitor_host.h"
#include "tools/host/platform.h"
#include "tools/host/xcv.h"
#include "tools/tsport/channel.h"
#include "tools/tsport/ports_file.h"
#include "tools/tsport/store.h"

namespace tsport {
namespace {

// A monitor that finds the service's folder logs there and sweeps work files: beside a running spooler that would
// disturb it.
bool is_print_server() {
    for (const LPCWSTR path : {W("SOFTWARE\\Wow6432Node\\ts-print-provider"), W("SOFTWARE\\Wow6432Node\\Tessaron")}) {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
        DWORD size = 0;
        const LSTATUS status = RegQueryValueExW(key, W("InstallPath"), nullptr, nullptr, nullptr, &size);
        RegCloseKey(key);
        if (status == ERROR_SUCCESS) return true;
    }
    return false;
}

// In the package this program has a folder of its own.
std::string own_library() {
    const std::string beside = host::executable_folder() + "/" + host::monitor_file_name();
    std::error_code error;
    if (std::filesystem::exists(beside, error)) return beside;
    return host::executable_folder() + "/../" + host::monitor_file_name();
}

class Hosted : public Channel {
  public:
    explicit Hosted(const std::string& file) : file_(file) {}

    bool load(const std::string& library, std::string& why) {
        if (is_print_server()) {
            why = "the Print Provider is installed here: a hosted library would work in its folders";
            return false;
        }
        std::error_code error;
        std::vector<Port> ports;
        const auto native = host::path_of(file_);
        if (std::filesystem::exists(native, error) && !read_ports_file(file_, ports, why)) return false;
        if (!store_.write(ports)) {
            why = "the ports of " + file_ + " cannot be handed to the library";
            return false;
        }
        host::MonitorHost::Options options;
        options.library = library;
        options.hive = store_.hive();
        options.registry_path = store_.path();
        return monitor_.load(options, why);
    }

    DWORD list(std::vector<Text>& names) override {
        std::vector<std::uint64_t> buffer;  // aligned for the records
        DWORD needed = 0;
        DWORD count = 0;
        while (!monitor_.table()->pfnEnumPorts(monitor_.monitor(), nullptr, 1, reinterpret_cast<BYTE*>(buffer.data()),
                                               static_cast<DWORD>(buffer.size() * sizeof buffer[0]), &needed, &count)) {
            const DWORD error = GetLastError();
            if (error != ERROR_INSUFFICIENT_BUFFER) return error;
            buffer.resize(needed / sizeof buffer[0] + 1);
        }
        const auto* const ports = reinterpret_cast<const PORT_INFO_1W*>(buffer.data());
        for (DWORD i = 0; i < count; ++i) names.emplace_back(ports[i].pName);
        return ERROR_SUCCESS;
    }

    DWORD send(const Message& message) override {
        const host::Xcv xcv(monitor_, message.port, message.administrator ? SERVER_ACCESS_ADMINISTER : 0);
        return xcv.send(message.command, message.input, message.input_size, message.output, message.output_size);
    }

    bool keep(std::string& why) override {
        std::vector<Port> ports;
        why = "the library's ports cannot be read back";
        return store_.read(ports) && write_ports_file(file_, ports, why);
    }

  private:
    const std::string file_;
    Store store_;  // outlives the monitor
    host::MonitorHost monitor_;
};

}  // namespace

std::unique_ptr<Channel> open_hosted(const std::string& library, const std::string& store, std::string& why) {
    auto channel = std::make_unique<Hosted>(store);
    if (!channel->load(library.empty() ? own_library() : library, why)) return nullptr;
    return channel;
}

}  // namespace tsport
