#include "tsport/commands.h"

#include <algorithm>

#include "winportmon/contract/names.h"

namespace tsport {
namespace {

DWORD send_config(const Spooler& spooler, LPCWSTR command, const Port& port, bool administrator) {
    const contract::PortConfig config = to_config(port);
    Spooler::Message message{command, Text()};
    message.administrator = administrator;
    message.input = &config;
    message.input_size = sizeof config;
    return spooler.send(message);
}

DWORD send_name(const Spooler& spooler, LPCWSTR command, const Text& name, bool administrator) {
    Spooler::Message message{command, Text()};
    message.administrator = administrator;
    message.input = name.c_str();
    message.input_size = static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR));
    return spooler.send(message);
}

// A command that answers "no" with a code of its own.
DWORD answer_of(DWORD code, DWORD yes, DWORD no, bool& answer) {
    answer = code == yes;
    return code == yes || code == no ? static_cast<DWORD>(ERROR_SUCCESS) : code;
}

}  // namespace

DWORD list_names(const Spooler& spooler, std::vector<Text>& names) {
    std::vector<SpoolerPort> ports;
    const DWORD code = spooler.ports(ports);
    for (const SpoolerPort& port : ports) {
        if (same_name(port.monitor, contract::kMonitorName)) names.push_back(port.name);
    }
    return code;
}

DWORD read_port(const Spooler& spooler, const Text& name, Port& port) {
    contract::PortConfig config = {};
    Spooler::Message message{contract::kGetConfigInfo, name};
    message.output = &config;
    message.output_size = sizeof config;
    const DWORD code = spooler.send(message);
    if (code == ERROR_SUCCESS) port = from_config(config);
    return code;
}

DWORD read_ports(const Spooler& spooler, const std::vector<Text>& names, std::vector<Port>& ports) {
    for (const Text& name : names) {
        Port port;
        const DWORD code = read_port(spooler, name, port);
        if (code == ERROR_SUCCESS) {
            ports.push_back(port);
            continue;
        }
        std::vector<Text> now;
        const DWORD listed = list_names(spooler, now);
        const bool gone = listed == ERROR_SUCCESS && std::find(now.begin(), now.end(), name) == now.end();
        if (!gone) return code;
    }
    return ERROR_SUCCESS;
}

DWORD add_port(const Spooler& spooler, const Port& port) {
    return send_config(spooler, contract::kAddPort, port, true);
}

DWORD set_port(const Spooler& spooler, const Port& port) {
    return send_config(spooler, contract::kConfigPort, port, true);
}

DWORD delete_port(const Spooler& spooler, const Text& name) {
    return send_name(spooler, contract::kDeletePort, name, true);
}

DWORD ask_whether_exists(const Spooler& spooler, const Text& name, bool& exists) {
    const DWORD code = send_name(spooler, contract::kPortExists, name, false);
    return answer_of(code, ERROR_ALREADY_EXISTS, ERROR_SUCCESS, exists);
}

DWORD ask_whether_reachable(const Spooler& spooler, const Port& port, bool& reachable) {
    const DWORD code = send_config(spooler, contract::kPortIsValid, port, false);
    return answer_of(code, ERROR_SUCCESS, ERROR_INVALID_FUNCTION, reachable);
}

}  // namespace tsport
