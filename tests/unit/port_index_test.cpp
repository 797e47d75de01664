// Finding ports by name, held to comparing all names in the order of the list.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "winportmon/tsmon/tsmon_ports.h"

namespace tsmon {
namespace {

using Text = std::basic_string<WCHAR>;

PortConfig config_of(const Text& name, uint32_t number) {
    PortConfig config = {};
    name.copy(config.port_name, kPortNameSize - 1);
    config.port_number = number;
    return config;
}

class PortNames : public testing::Test {
  protected:
    ~PortNames() override { FreePorts(&context); }

    PortEntry* add(const Text& name, uint32_t number = 0) {
        const PortConfig config = config_of(name, number);
        return CreatePortEntry(&context, &config);
    }
    PortEntry* compared(const Text& name) const {
        PortEntry* port = context.ports;
        while (port != nullptr && lstrcmpiW(port->config.port_name, name.c_str()) != 0) port = port->next;
        return port;
    }
    PortEntry* found(const Text& name) { return FindPortEntry(&context, name.c_str()); }

    MonitorContext context = {};
};

// Names of few characters, so that many are the same but for letter case, accents, and characters that weigh nothing.
struct Names {
    std::mt19937 random{7};

    Text make() {
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
};

TEST_F(PortNames, AreFoundAsByComparingAll) {
    Names names;
    std::vector<PortEntry*> ports;
    for (uint32_t i = 0; i < 3000; ++i) {
        const Text name = names.make();
        switch (names.random() % 4) {
            case 0:
                if (!ports.empty()) {
                    PortEntry* const port = ports[names.random() % ports.size()];
                    const PortConfig config = config_of(name, i);
                    ReplacePortConfig(port, &config);
                }
                break;
            case 1: {
                PortEntry* const first = compared(name);
                ASSERT_EQ(DeletePortEntry(&context, name.c_str()), first != nullptr ? TRUE : FALSE);
                std::erase(ports, first);
                break;
            }
            default:
                ports.push_back(add(name, i));
        }
        for (int probes = 0; probes < 4; ++probes) {
            const Text probe = names.make();
            ASSERT_EQ(found(probe), compared(probe)) << "after " << i << " steps";
        }
    }
    // The list is what it was made to be.
    std::vector<PortEntry*> listed;
    for (PortEntry* port = context.ports; port != nullptr; port = port->next) listed.push_back(port);
    EXPECT_EQ(listed, ports);
}

TEST_F(PortNames, FirstOfTheListWhateverItsClass) {
    PortEntry* const plain = add(W("Office"));
    PortEntry* const odd = add(W("\u00d6ffice"));
    PortEntry* const again = add(W("OFFICE"));
    EXPECT_EQ(found(W("oFFICE")), plain);
    EXPECT_EQ(found(W("\u00f6FFICE")), odd);
    // A port that changes its name keeps its place before the others of that name.
    const PortConfig other = config_of(W("Other"), 0);
    ReplacePortConfig(plain, &other);
    EXPECT_EQ(found(W("office")), again);
    const PortConfig back = config_of(W("office"), 0);
    ReplacePortConfig(plain, &back);
    EXPECT_EQ(found(W("Office")), plain);
}

TEST_F(PortNames, DeletedPortIsGoneWhileItIsStillOpen) {
    add(W("Office"));
    WCHAR name[] = W("OFFICE");
    HANDLE handle = nullptr;
    ASSERT_TRUE(OpenPort(&context, name, &handle));
    ASSERT_TRUE(DeletePortEntry(&context, name));
    EXPECT_EQ(found(W("Office")), nullptr);
    PortEntry* const again = add(W("office"), 9100);
    EXPECT_EQ(found(W("Office")), again);
    auto* const retired = static_cast<PortEntry*>(handle);
    CopyConfigForDocument(retired);
    EXPECT_EQ(retired->document_config.port_number, 9100u);
    ClosePort(handle);
    EXPECT_EQ(found(W("Office")), again);
}

// A field may be full of name, without a terminator.
TEST_F(PortNames, FullField) {
    PortConfig config = config_of(Text(kPortNameSize - 1, W('n')), 515);
    config.port_name[kPortNameSize - 1] = W('n');
    PortEntry* const port = CreatePortEntry(&context, &config);
    EXPECT_EQ(found(Text(kPortNameSize, W('N'))), port);
    EXPECT_EQ(found(Text(kPortNameSize - 1, W('N'))), nullptr);
}

}  // namespace
}  // namespace tsmon
