#include "tests/soak/administrators.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <thread>

#include "tools/host/ports.h"

namespace soak {
namespace {

using host::PortConfig;
using host::Text;

constexpr auto kPause = std::chrono::milliseconds(3);
constexpr DWORD kDone = ERROR_SUCCESS;

class Administrator {
  public:
    Administrator(Server& server, Random& random) : server_(server), random_(random) {}

    // A name counts as taken, too, while the spooler's list grows between two looks at it.
    bool add(const PortConfig& config) {
        DWORD code = ERROR_ALREADY_EXISTS;
        for (int attempt = 0; attempt < 1000 && code == ERROR_ALREADY_EXISTS; ++attempt) {
            code = send(W("TSAddPort"), config);
        }
        return expect("TSAddPort", code, {kDone});
    }

    void change(Port& port) {
        const std::lock_guard turn(port.administration);
        const PortConfig config = host::port_config(port.name(), any_address(), port.number());
        expect("TSConfigPort", send(W("TSConfigPort"), config), {kDone});
    }

    void renew(Port& port) {
        const std::lock_guard turn(port.administration);
        port.set_away(true);
        expect("TSDeletePort", remove(port.name()), {kDone});
        std::this_thread::sleep_for(std::chrono::milliseconds(below(random_, 10)));
        add(host::port_config(port.name(), any_address(), port.number()));
        port.set_away(false);
    }

    // Nobody but administrators wants this name.
    void quarrel() {
        const Text name = W("contested-") + host::to_text(std::to_string(below(random_, 4)));
        const PortConfig config = host::port_config(name, Port::address(0), 9);
        if (below(random_, 2) == 0) {
            expect("TSAddPort", send(W("TSAddPort"), config), {kDone, ERROR_ALREADY_EXISTS});
        } else {
            expect("TSDeletePort", remove(name), {kDone, ERROR_FILE_NOT_FOUND});
        }
    }
    void end_quarrel() {
        for (int i = 0; i < 4; ++i) remove(W("contested-") + host::to_text(std::to_string(i)));
    }

    // The configuration is one of those it has been given, never a mixture.
    void read(const Port& port) {
        PortConfig found = {};
        const DWORD code = host::read_config(server_.monitor, port.name(), found);
        if (!expect("TSGetConfigInfo", code, {kDone, ERROR_INVALID_PARAMETER}) || code != kDone) return;
        bool known = false;
        for (size_t i = 0; i < Port::kAddresses; ++i) {
            const PortConfig given = host::port_config(port.name(), Port::address(i), port.number());
            known = known || std::memcmp(&given, &found, sizeof found) == 0;
        }
        if (!known) server_.account.wrong("TSGetConfigInfo gives a mixture of two configurations");
    }

    void ask(const Port& port, const peer::TcpPrinter& idle) {
        BYTE library[64];
        const PortConfig config = host::port_config(W("any"), any_address(), idle.port());
        expect("TSPortExists", host::send_name(server_.monitor, W("TSPortExists"), port.name()),
               {kDone, ERROR_ALREADY_EXISTS});
        expect("TSPortIsValid", send(W("TSPortIsValid"), config), {kDone});
        const host::Xcv xcv(server_.monitor, W(""), SERVER_ACCESS_ADMINISTER);
        expect("MonitorUI", xcv.send(W("MonitorUI"), nullptr, 0, library, sizeof library), {kDone});
    }

  private:
    const Text& any_address() { return Port::address(below(random_, Port::kAddresses)); }

    DWORD send(LPCWSTR command, const PortConfig& config) {
        return host::send_config(server_.monitor, command, config);
    }
    DWORD remove(const Text& name) { return host::send_name(server_.monitor, W("TSDeletePort"), name); }

    bool expect(const char* command, DWORD code, std::initializer_list<DWORD> allowed) {
        if (std::find(allowed.begin(), allowed.end(), code) != allowed.end()) return true;
        server_.account.wrong(std::string(command) + " gives " + std::to_string(code));
        return false;
    }

    Server& server_;
    Random& random_;
};

}  // namespace

bool add_port(Server& server, const Text& name, std::uint16_t number) {
    Random unused;
    return Administrator(server, unused).add(host::port_config(name, Port::address(0), number));
}

void administrate(Server& server, std::deque<Port>& ports, const peer::TcpPrinter& idle, std::uint64_t seed,
                  const std::atomic<bool>& stop) {
    Random random(seed);
    Administrator administrator(server, random);
    while (!stop) {
        Port& port = ports[below(random, ports.size())];
        const std::uint64_t number = below(random, 100);
        if (number < 40)
            administrator.change(port);
        else if (number < 50)
            administrator.renew(port);
        else if (number < 70)
            administrator.quarrel();
        else if (number < 90)
            administrator.read(port);
        else
            administrator.ask(port, idle);
        std::this_thread::sleep_for(kPause);
    }
    administrator.end_quarrel();
}

}  // namespace soak
