// Finding ports by name, held to comparing all names in the order of the list.
#include <gtest/gtest.h>

#include <random>

#include "tools/host/ports.h"
#include "winportmon/tsmon/tsmon_ports.h"

namespace tsmon {
namespace {

using host::Text;

class PortNames : public testing::Test {
  protected:
    ~PortNames() override { FreePorts(&context); }

    PortEntry* compared(const Text& name) const {
        PortEntry* port = context.ports;
        while (port != nullptr && lstrcmpiW(port->config.port_name, name.c_str()) != 0) port = port->next;
        return port;
    }
    // A name of few characters, so that many are the same but for letter case, accents, and characters that weigh
    // nothing.
    Text make_name() {
        static constexpr WCHAR kUsual[] = W("aAbBdDgGiIkKsSzZ019 -'_.");
        static constexpr WCHAR kOdd[] =
            W("\x01\x7f\u00ad\u00df\u00e4\u00c4\u00e9\u0131\u0130\u0301\u0430\u0410\u200d\u212a\uff41\uff21");
        Text name;
        for (auto left = random() % 5; left > 0; --left) {
            const bool odd = random() % 12 == 0;
            name += odd ? kOdd[random() % (std::size(kOdd) - 1)] : kUsual[random() % (std::size(kUsual) - 1)];
        }
        return name;
    }

    std::mt19937 random{7};
    MonitorContext context = {};
};

TEST_F(PortNames, AreFoundAsByComparingAll) {
    std::vector<PortEntry*> ports;
    for (uint32_t i = 0; i < 3000; ++i) {
        const Text name = make_name();
        const PortConfig config = host::port_config(name, W(""), i);
        const auto step = random() % 4;
        if (step == 0 && !ports.empty()) {
            ReplacePortConfig(ports[random() % ports.size()], &config);
        } else if (step == 1) {
            PortEntry* const first = compared(name);
            ASSERT_EQ(DeletePortEntry(&context, name.c_str()), first != nullptr ? TRUE : FALSE);
            std::erase(ports, first);
        } else {
            ports.push_back(CreatePortEntry(&context, &config));
        }
        for (int probes = 0; probes < 4; ++probes) {
            const Text probe = make_name();
            ASSERT_EQ(FindPortEntry(&context, probe.c_str()), compared(probe)) << "after " << i << " steps";
        }
    }
    // The list is what it was made to be.
    std::vector<PortEntry*> listed;
    for (PortEntry* port = context.ports; port != nullptr; port = port->next) listed.push_back(port);
    EXPECT_EQ(listed, ports);
}

}  // namespace
}  // namespace tsmon
