#include "tools/tsport/commands.h"

#include <algorithm>

namespace tsport {
namespace {

DWORD send_config(Channel& channel, LPCWSTR command, const Port& port, bool administrator) {
    const tsmon::PortConfig config = to_config(port);
    Channel::Message message{command, Text()};
    message.administrator = administrator;
    message.input = &config;
    message.input_size = sizeof config;
    return channel.send(message);
}

DWORD send_name(Channel& channel, LPCWSTR command, const Text& name, bool administrator) {
    Channel::Message message{command, Text()};
    message.administrator = administrator;
    message.input = name.c_str();
    message.input_size = static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR));
    return channel.send(message);
}

// A command whose answer "no" is a code of its own.
DWORD answer_of(DWORD code, DWORD yes, DWORD no, bool& answer) {
    answer = code == yes;
    return code == yes || code == no ? static_cast<DWORD>(ERROR_SUCCESS) : code;
}

}  // namespace

DWORD read_port(Channel& channel, const Text& name, Port& port) {
    tsmon::PortConfig config = {};
    Channel::Message message{W("TSGetConfigInfo"), name};
    message.output = &config;
    message.output_size = sizeof config;
    const DWORD code = channel.send(message);
    if (code == ERROR_SUCCESS) port = from_config(config);
    return code;
}

DWORD read_ports(Channel& channel, std::vector<Port>& ports) {
    std::vector<Text> names;
    DWORD code = channel.list(names);
    for (size_t i = 0; i < names.size() && code == ERROR_SUCCESS; ++i) {
        Port port;
        code = read_port(channel, names[i], port);
        if (code == ERROR_SUCCESS) {
            ports.push_back(port);
        } else {
            std::vector<Text> now;
            const DWORD listed = channel.list(now);
            const bool gone = listed == ERROR_SUCCESS && std::find(now.begin(), now.end(), names[i]) == now.end();
            if (gone) code = ERROR_SUCCESS;
        }
    }
    return code;
}

DWORD add_port(Channel& channel, const Port& port) {
    return send_config(channel, W("TSAddPort"), port, true);
}

DWORD set_port(Channel& channel, const Port& port) {
    return send_config(channel, W("TSConfigPort"), port, true);
}

DWORD delete_port(Channel& channel, const Text& name) {
    return send_name(channel, W("TSDeletePort"), name, true);
}

DWORD ask_whether_exists(Channel& channel, const Text& name, bool& exists) {
    const DWORD code = send_name(channel, W("TSPortExists"), name, false);
    return answer_of(code, ERROR_ALREADY_EXISTS, ERROR_SUCCESS, exists);
}

DWORD ask_whether_reachable(Channel& channel, const Port& port, bool& reachable) {
    const DWORD code = send_config(channel, W("TSPortIsValid"), port, false);
    return answer_of(code, ERROR_SUCCESS, ERROR_INVALID_FUNCTION, reachable);
}

}  // namespace tsport
