#include "tsport/spooler.h"

#include "winapi/tcpxcv.h"
#include "winportmon/contract/names.h"

namespace tsport {
namespace {

LPWSTR writable(const Text& text) {
    return text.empty() ? nullptr : const_cast<LPWSTR>(text.c_str());
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

Text text_of(LPCWSTR text) {
    return text != nullptr ? Text(text) : Text();
}

Channel::~Channel() {
    if (handle_ != nullptr) ClosePrinter(handle_);
}

DWORD Channel::open(Text name, ACCESS_MASK access) {
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, access};
    if (OpenPrinterW(name.data(), &handle_, &defaults)) return ERROR_SUCCESS;
    handle_ = nullptr;
    return GetLastError();
}

DWORD Spooler::ports(std::vector<SpoolerPort>& ports) const {
    Records<PORT_INFO_2W> records(server_.empty());
    const DWORD code = records.read([&](auto... to) { return EnumPortsW(writable(server_), 2, to...); });
    for (const PORT_INFO_2W& record : records)
        ports.push_back({text_of(record.pPortName), text_of(record.pMonitorName)});
    return code;
}

DWORD Spooler::queues(std::vector<Queue>& queues) const {
    Records<PRINTER_INFO_2W> records(server_.empty());
    const DWORD flags = server_.empty() ? PRINTER_ENUM_LOCAL : PRINTER_ENUM_NAME;
    const DWORD code = records.read([&](auto... to) { return EnumPrintersW(flags, writable(server_), 2, to...); });
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
    Records<MONITOR_INFO_1W> records(server_.empty());
    const DWORD code = records.read([&](auto... to) { return EnumMonitorsW(writable(server_), 1, to...); });
    for (const MONITOR_INFO_1W& record : records) names.push_back(text_of(record.pName));
    return code;
}

// An object of the server.
Text Spooler::full_name(const Text& object) const {
    return (server_.empty() ? Text() : server_ + W("\\")) + object;
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
    Channel own;
    Channel& channel = kept ? administration_ : own;
    if (channel.get() == nullptr) {
        const Text object =
            message.port.empty() ? W(",XcvMonitor ") + Text(message.monitor) : W(",XcvPort ") + message.port;
        const ACCESS_MASK access = message.administrator ? SERVER_ACCESS_ADMINISTER : SERVER_ACCESS_ENUMERATE;
        if (const DWORD error = channel.open(full_name(object), access)) return error;
    }
    DWORD needed = 0;
    DWORD status = ERROR_SUCCESS;
    const BOOL passed_on =
        XcvDataW(channel.get(), message.command, static_cast<BYTE*>(const_cast<void*>(message.input)),
                 static_cast<DWORD>(message.input_size), reinterpret_cast<BYTE*>(message.output),
                 message.output != nullptr ? sizeof *message.output : 0, &needed, &status);
    return passed_on ? status : GetLastError();
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
    return Channel().open(full_name(W(",XcvPort ") + name), SERVER_ACCESS_ENUMERATE) == ERROR_SUCCESS;
}

bool Spooler::is_unknown(const Text& name) const {
    const DWORD code = Channel().open(full_name(W(",XcvPort ") + name), SERVER_ACCESS_ENUMERATE);
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
