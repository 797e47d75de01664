// Ports without memory for the index of their names.
#include <gtest/gtest.h>

#include <string>

#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winportmon/tsmon/tsmon_ports.h"

namespace tsmon {
namespace {

PortConfig numbered(uint32_t number) {
    PortConfig config = {};
    winapi::to_utf16("Printer " + std::to_string(number)).copy(config.port_name, kPortNameSize - 1);
    config.port_number = number;
    return config;
}

TEST(PortNamesWithoutMemory, AreFoundAllTheSame) {
    const size_t before = winapi::open_allocations();
    for (const uint32_t first_without : {0u, 64u}) {  // the first places, and twice as many
        MonitorContext context = {};
        for (uint32_t i = 0; i < 200; ++i) {
            const PortConfig config = numbered(i);
            // The second allocation, after that of the port itself.
            if (i == first_without) winapi::fault::arm(2, winapi::fault::Mode::once);
            ASSERT_NE(CreatePortEntry(&context, &config), nullptr);
            if (i == first_without) {
                winapi::fault::disarm();
                ASSERT_EQ(winapi::fault::failed_function(), "GlobalAlloc");
            }
        }
        for (uint32_t i = 0; i < 200; ++i) {
            const PortEntry* const port = FindPortEntry(&context, numbered(i).port_name);
            ASSERT_TRUE(port != nullptr && port->config.port_number == i) << i;
        }
        FreePorts(&context);
        EXPECT_EQ(winapi::open_allocations(), before);
    }
}

}  // namespace
}  // namespace tsmon
