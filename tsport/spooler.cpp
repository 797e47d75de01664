#include "tsport/spooler.h"

#include <algorithm>
#include <cstdint>

#include "winapi/tcpxcv.h"
#include "winportmon/contract/names.h"

namespace tsport {
namespace {

LPWSTR writable(const Text& text) {
    return text.empty() ? nullptr : const_cast<LPWSTR>(text.c_str());
}

// The records that an enumerating function gives, with the memory for their texts.
template <typename Record>
class Records {
  public:
    // A buffer that is large enough saves the spooler from listing everything twice; for another server it goes over
    // the network as it is.
    explicit Records(const Text& server) : buffer_(server.empty() ? 131'072 : 2048) {}
    // `enumerate`(buffer, size, &needed, &count)
    template <typename Function>
    DWORD read(Function enumerate) {
        DWORD needed = 0;
        int tries = 8;  // the spooler's list may grow meanwhile, but not for ever
        while (!enumerate(reinterpret_cast<BYTE*>(buffer_.data()),
                          static_cast<DWORD>(buffer_.size() * sizeof buffer_[0]), &needed, &count_)) {
            const DWORD error = GetLastError();
            if (error != ERROR_INSUFFICIENT_BUFFER || tries-- == 0) return error;
            buffer_.resize(needed / sizeof buffer_[0] + 1);
        }
        return ERROR_SUCCESS;
    }
    const Record* begin() const { return reinterpret_cast<const Record*>(buffer_.data()); }
    const Record* end() const { return begin() + count_; }

  private:
    std::vector<std::uint64_t> buffer_;  // aligned for the records
    DWORD count_ = 0;
};

Text text_of(LPCWSTR text) {
    return text != nullptr ? Text(text) : Text();
}

std::vector<Text> split_at_commas(const Text& text) {
    std::vector<Text> parts(1);
    for (const WCHAR c : text) {
        if (c == W(',')) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

}  // namespace

Spooler::~Spooler() {
    if (administration_ != nullptr) ClosePrinter(administration_);
}

DWORD Spooler::ports(std::vector<SpoolerPort>& ports) const {
    Records<PORT_INFO_2W> records(server_);
    const DWORD code = records.read([&](BYTE* buffer, DWORD size, DWORD* needed, DWORD* count) {
        return EnumPortsW(writable(server_), 2, buffer, size, needed, count);
    });
    for (const PORT_INFO_2W& record : records)
        ports.push_back({text_of(record.pPortName), text_of(record.pMonitorName)});
    return code;
}

DWORD Spooler::queues(std::vector<Queue>& queues) const {
    Records<PRINTER_INFO_2W> records(server_);
    const DWORD flags = server_.empty() ? PRINTER_ENUM_LOCAL : PRINTER_ENUM_NAME;
    const DWORD code = records.read([&](BYTE* buffer, DWORD size, DWORD* needed, DWORD* count) {
        return EnumPrintersW(flags, writable(server_), 2, buffer, size, needed, count);
    });
    for (const PRINTER_INFO_2W& record : records) {
        Text name = text_of(record.pPrinterName);
        // Another server's printers come with its name.
        const Text prefix = server_ + W("\\");
        if (!server_.empty() && same_name(name.substr(0, prefix.size()), prefix)) name.erase(0, prefix.size());
        const Text ports = text_of(record.pPortName);
        queues.push_back({name, split_at_commas(ports), ports, record.Status, record.cJobs});
    }
    return code;
}

DWORD Spooler::monitors(std::vector<Text>& names) const {
    Records<MONITOR_INFO_1W> records(server_);
    const DWORD code = records.read([&](BYTE* buffer, DWORD size, DWORD* needed, DWORD* count) {
        return EnumMonitorsW(writable(server_), 1, buffer, size, needed, count);
    });
    for (const MONITOR_INFO_1W& record : records) names.push_back(text_of(record.pName));
    return code;
}

DWORD Spooler::open(const Text& object, ACCESS_MASK access, HANDLE& channel) const {
    Text name = (server_.empty() ? Text() : server_ + W("\\")) + object;
    PRINTER_DEFAULTSW defaults = {};
    defaults.DesiredAccess = access;
    return OpenPrinterW(name.data(), &channel, &defaults) ? static_cast<DWORD>(ERROR_SUCCESS) : GetLastError();
}

struct Spooler::Message {
    LPCWSTR command;
    Text port = {};  // that the command is about; empty when that is in its input
    bool administrator = true;
    const void* input = nullptr;
    size_t input_size = 0;
    contract::PortConfig* output = nullptr;
    LPCWSTR monitor = contract::kMonitorName;
};

// The command's code, or why it could not be passed on.
DWORD Spooler::send(const Message& message) const {
    const bool kept = message.port.empty() && message.administrator && message.monitor == contract::kMonitorName;
    HANDLE channel = kept ? administration_ : nullptr;
    if (channel == nullptr) {
        const Text object =
            message.port.empty() ? W(",XcvMonitor ") + Text(message.monitor) : W(",XcvPort ") + message.port;
        const ACCESS_MASK access = message.administrator ? SERVER_ACCESS_ADMINISTER : SERVER_ACCESS_ENUMERATE;
        if (const DWORD error = open(object, access, channel)) return error;
        if (kept) administration_ = channel;
    }
    DWORD needed = 0;
    DWORD status = ERROR_SUCCESS;
    const BOOL passed_on = XcvDataW(channel, message.command, static_cast<BYTE*>(const_cast<void*>(message.input)),
                                    static_cast<DWORD>(message.input_size), reinterpret_cast<BYTE*>(message.output),
                                    message.output != nullptr ? sizeof *message.output : 0, &needed, &status);
    const DWORD code = passed_on ? status : GetLastError();
    if (!kept) ClosePrinter(channel);
    return code;
}

DWORD Spooler::port_names(std::vector<Text>& names) const {
    std::vector<SpoolerPort> all;
    const DWORD code = ports(all);
    for (const SpoolerPort& port : all) {
        if (same_name(port.monitor, contract::kMonitorName)) names.push_back(port.name);
    }
    return code;
}

DWORD Spooler::read(const Text& name, Port& port) const {
    contract::PortConfig config = {};
    const DWORD code = send({contract::kGetConfigInfo, name, true, nullptr, 0, &config});
    if (code == ERROR_SUCCESS) port = from_config(config);
    return code;
}

bool Spooler::is_known(const Text& name) const {
    HANDLE channel = nullptr;
    if (open(W(",XcvPort ") + name, SERVER_ACCESS_ENUMERATE, channel) != ERROR_SUCCESS) return false;
    ClosePrinter(channel);
    return true;
}

bool Spooler::is_unknown(const Text& name) const {
    HANDLE channel = nullptr;
    const DWORD code = open(W(",XcvPort ") + name, SERVER_ACCESS_ENUMERATE, channel);
    if (code == ERROR_SUCCESS) ClosePrinter(channel);
    return code == ERROR_UNKNOWN_PORT || code == ERROR_INVALID_PRINTER_NAME;
}

DWORD Spooler::add(const Port& port) const {
    const contract::PortConfig config = to_config(port);
    return send({contract::kAddPort, {}, true, &config, sizeof config});
}

DWORD Spooler::set(const Port& port) const {
    const contract::PortConfig config = to_config(port);
    return send({contract::kConfigPort, {}, true, &config, sizeof config});
}

DWORD Spooler::remove(const Text& name) const {
    return send({contract::kDeletePort, {}, true, name.c_str(), (name.size() + 1) * sizeof(WCHAR)});
}

DWORD Spooler::add_standard(const Port& port) const {
    PORT_DATA_1 data = {};
    port.name.copy(data.sztPortName, MAX_PORTNAME_LEN - 1);
    port.address.copy(data.sztHostAddress, MAX_NETWORKNAME_LEN - 1);
    data.dwVersion = 1;
    data.dwProtocol = PROTOCOL_RAWTCP_TYPE;
    data.cbSize = sizeof data;
    data.dwPortNumber = port.number;
    return send({.command = W("AddPort"), .input = &data, .input_size = sizeof data, .monitor = kStandardMonitor});
}

DWORD Spooler::remove_standard(const Text& name) const {
    DELETE_PORT_DATA_1 data = {};
    name.copy(data.psztPortName, MAX_PORTNAME_LEN - 1);
    data.dwVersion = 1;
    return send({.command = W("DeletePort"), .input = &data, .input_size = sizeof data, .monitor = kStandardMonitor});
}

DWORD Spooler::ask_whether_exists(const Text& name, bool& exists) const {
    const DWORD code = send({contract::kPortExists, {}, false, name.c_str(), (name.size() + 1) * sizeof(WCHAR)});
    exists = code == ERROR_ALREADY_EXISTS;
    return exists ? static_cast<DWORD>(ERROR_SUCCESS) : code;
}

DWORD Spooler::ask_whether_reachable(const Port& port, bool& reachable) const {
    const contract::PortConfig config = to_config(port);
    const DWORD code = send({contract::kPortIsValid, {}, false, &config, sizeof config});
    reachable = code == ERROR_SUCCESS;
    return code == ERROR_INVALID_FUNCTION ? static_cast<DWORD>(ERROR_SUCCESS) : code;
}

}  // namespace tsport
