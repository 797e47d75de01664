#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <thread>

#include "tests/soak/soak.h"

namespace soak {
namespace {

constexpr DWORD kDone = ERROR_SUCCESS;
// Nobody but administrators wants these.
constexpr LPCWSTR kContested[] = {W("contested-0"), W("contested-1"), W("contested-2")};

class Administrator {
  public:
    Administrator(Server& server, std::uint64_t seed) : server_(server), random_(seed) {}

    void work(Port& port) {
        const std::uint64_t number = below(random_, 100);
        number < 50 ? change(port, number < 10) : number < 70 ? quarrel() : read(port);
    }

  private:
    // Its configuration; also by deleting the port and adding it again.
    void change(Port& port, bool renewed) {
        const std::lock_guard turn(port.administration);
        if (!renewed) return expect(W("TSConfigPort"), send(W("TSConfigPort"), any_config(port)), {kDone});
        ++port.renewals;
        expect(W("TSDeletePort"), send(W("TSDeletePort"), port.name()), {kDone});
        std::this_thread::sleep_for(std::chrono::milliseconds(below(random_, 10)));
        // A name counts as taken, too, while the spooler's list grows between two looks at it.
        DWORD code = ERROR_ALREADY_EXISTS;
        for (int attempt = 0; attempt < 1000 && code == ERROR_ALREADY_EXISTS; ++attempt) {
            code = send(W("TSAddPort"), any_config(port));
        }
        expect(W("TSAddPort"), code, {kDone});
        ++port.renewals;
    }

    void quarrel() {
        const LPCWSTR name = kContested[below(random_, std::size(kContested))];
        if (below(random_, 2) == 0) {
            const DWORD code = send(W("TSAddPort"), host::port_config(name, W("127.0.0.1"), 9));
            expect(W("TSAddPort"), code, {kDone, ERROR_ALREADY_EXISTS});
        } else {
            expect(W("TSDeletePort"), send(W("TSDeletePort"), name), {kDone, ERROR_FILE_NOT_FOUND});
        }
    }

    // The configuration is one of those it has been given, never a mixture.
    void read(const Port& port) {
        HANDLE handle = nullptr;
        const bool is_open = server_.monitor.open_port(port.name(), handle);
        expect(W("TSPortExists"), send(W("TSPortExists"), port.name()), {kDone, ERROR_ALREADY_EXISTS});
        host::PortConfig found = {};
        const DWORD code = host::read_config(server_.monitor, port.name(), found);
        expect(W("TSGetConfigInfo"), code, {kDone, ERROR_INVALID_PARAMETER});
        if (is_open && !server_.monitor.close_port(handle)) server_.wrong("ClosePort refuses an open port");
        bool known = code != kDone;
        for (size_t i = 0; i < Port::kAddresses; ++i) {
            const host::PortConfig given = port.config(i);
            known = known || std::memcmp(&given, &found, sizeof found) == 0;
        }
        if (!known) server_.wrong("TSGetConfigInfo gives a mixture of two configurations");
    }

    host::PortConfig any_config(const Port& port) { return port.config(below(random_, Port::kAddresses)); }
    DWORD send(LPCWSTR command, const host::PortConfig& config) const {
        return host::send_config(server_.monitor, command, config);
    }
    DWORD send(LPCWSTR command, const host::Text& name) const {
        return host::send_name(server_.monitor, command, name);
    }
    void expect(LPCWSTR command, DWORD code, std::initializer_list<DWORD> allowed) const {
        if (std::find(allowed.begin(), allowed.end(), code) != allowed.end()) return;
        server_.wrong(host::to_utf8(command) + " gives " + std::to_string(code));
    }

    Server& server_;
    Random random_;
};

}  // namespace

void administrate(Server& server, std::deque<Port>& ports, std::uint64_t seed, const std::atomic<bool>& stop) {
    Administrator administrator(server, seed);
    Random random(seed);
    while (!stop) {
        administrator.work(ports[below(random, ports.size())]);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (const LPCWSTR name : kContested) host::send_name(server.monitor, W("TSDeletePort"), name);
}

}  // namespace soak
