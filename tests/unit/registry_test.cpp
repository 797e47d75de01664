// The monitor's stored ports.
#include "winportmon/tsmon/util_registry.h"

#include "host/monitor_registry.h"
#include "host/platform.h"
#include "host/setup.h"
#include "tests/support/platform.h"
#include "tests/unit/log_fixture.h"
#include "winportmon/contract/names.h"

namespace {

class StoredPorts : public LogTest {
  protected:
    ~StoredPorts() override { host::clear_registry(); }
};

// "Ports" and the port's own key, in the order in which a registry closes what it has opened.
TEST_F(StoredPorts, AreHandedOverWhileTheirKeyIsOpen) {
    host::clear_registry();
    ASSERT_TRUE(host::store_port(W("Office"), W("printer"), 9100) && host::store_port(W("Other"), W("printer"), 9101));
    HKEY root = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, contract::kMonitorKey, 0, KEY_READ, &root), ERROR_SUCCESS);
    MONITORINIT init = {sizeof init, host::spooler_handle(), root, host::monitor_registry(), TRUE, nullptr};
    tsmon::MonitorContext context = {};
    context.init = &init;
    static std::vector<size_t> open;
    open.clear();
    const size_t before = test::open_handles();
    tsmon::ForAllPortRegEntries(
        &context, [](tsmon::MonitorContext*, const tsmon::PortConfig*) { open.push_back(test::open_handles()); });
    EXPECT_EQ(open, (std::vector<size_t>{before + 2, before + 2}));
    EXPECT_EQ(test::open_handles(), before);
    RegCloseKey(root);
}

}  // namespace
