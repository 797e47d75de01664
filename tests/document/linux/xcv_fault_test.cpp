// Calls that fail under a command of the configuration channel: each one is done whole or not at all.
#include "tests/support/port_admin.h"
#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"

namespace test {
namespace {

class XcvFaults : public PortAdmin {
  protected:
    // Repeats a command with each of its calls failing once, from a state that `prepare` makes. `check` is given the
    // code, and whether a call to the registry failed. Returns the registry's functions that did.
    template <typename Prepare, typename Run, typename Check>
    Lines fail_each_call(Prepare prepare, Run run, Check check) {
        Lines failed;
        for (std::uint64_t call = 1;; ++call) {
            prepare();
            winapi::fault::arm(call, winapi::fault::Mode::once);
            const DWORD code = run();
            winapi::fault::disarm();
            const std::string function = winapi::fault::failed_function();
            if (function.empty()) return failed;
            SCOPED_TRACE("call " + std::to_string(call) + ", " + function);
            const bool registry = function.rfind("Reg", 0) == 0 && function != "RegCloseKey";
            if (registry) failed.push_back(function);
            check(code, registry);
            if (testing::Test::HasFailure()) return failed;
        }
    }
    void start() {
        configure({});
        load();
    }
    void remove_all() {
        for (const LPCWSTR name : {W("Office"), W("Lab")}) send(W("TSDeletePort"), Text(name));
    }
    void renew() {
        remove_all();
        ASSERT_EQ(send(W("TSAddPort"), config(W("Lab"), W("10.0.0.9"))), 0u);
        ASSERT_EQ(send(W("TSAddPort"), old_), 0u);
    }
    const PortConfig old_ = config(W("Office"), W("10.0.0.1"), 1);
    const PortConfig new_ = config(W("Office"), W("10.0.0.2"), 2);
};

TEST_F(XcvFaults, AnAddedPortIsInTheListAndTheRegistryOrInNeither) {
    start();
    const auto add = [&] { return send(W("TSAddPort"), old_); };
    const Lines failed = fail_each_call([&] { remove_all(); }, add,
                                        [&](DWORD code, bool registry) {
                                            EXPECT_FALSE(registry && code == 0);
                                            EXPECT_EQ(listed(), code == 0 ? Lines{"Office|10.0.0.1|1"} : Lines());
                                            EXPECT_EQ(stored(), listed());
                                            EXPECT_EQ(add(), code == 0 ? 183u : 0u);
                                            expect_agreement();
                                        });
    EXPECT_EQ(failed, (Lines{"RegCreateKeyExW", "RegCreateKeyExW", "RegSetValueExW", "RegSetValueExW"}));
    EXPECT_EQ(logged("TSM Xcv DoAddPort: failed to add port and so removing port entry", "ERROR"), 4);
    EXPECT_EQ(logged("TSM: AddPortInRegistry failed to ", "ERROR"), 4);
}

TEST_F(XcvFaults, AChangedPortIsTheOldOrTheNewOneEverywhere) {
    start();
    const auto change = [&] { return send(W("TSConfigPort"), new_); };
    const Lines failed = fail_each_call(
        [&] { renew(); }, change,
        [&](DWORD code, bool registry) {
            EXPECT_TRUE(!registry || code == 87) << code;
            EXPECT_EQ(listed(), (Lines{"Lab|10.0.0.9|9100", code == 0 ? "Office|10.0.0.2|2" : "Office|10.0.0.1|1"}));
            EXPECT_EQ(stored(), listed());
        });
    EXPECT_EQ(failed, (Lines{"RegOpenKeyExW", "RegOpenKeyExW", "RegSetValueExW", "RegSetValueExW"}));
    EXPECT_EQ(logged("TSM: Xcv DoConfigPort: failed to update registry", "ERROR"), 4);
}

// A port whose removal from the registry fails is gone from the list all the same, with a line; it can be added again.
TEST_F(XcvFaults, ADeletedPortIsGoneAndCanComeBack) {
    start();
    int lines = 0;
    const auto remove = [&] { return send(W("TSDeletePort"), Text(W("office"))); };
    const Lines failed = fail_each_call([&] { renew(); }, remove,
                                        [&](DWORD code, bool registry) {
                                            EXPECT_FALSE(registry && code != 0);
                                            EXPECT_EQ(listed().size(), code == 0 ? 1u : 2u);
                                            if (!registry) expect_agreement();
                                            lines += registry ? 1 : 0;
                                            EXPECT_EQ(logged("TSM: DeletePortFromRegistry failed to ", "ERROR"), lines);
                                            EXPECT_EQ(send(code == 0 ? W("TSAddPort") : W("TSConfigPort"), new_), 0u);
                                            EXPECT_EQ(stored(), (Lines{"Lab|10.0.0.9|9100", "Office|10.0.0.2|2"}));
                                        });
    EXPECT_EQ(failed, (Lines{"RegOpenKeyExW", "RegOpenKeyExW", "RegDeleteValueW", "RegDeleteValueW", "RegDeleteKeyW"}));
}

TEST_F(XcvFaults, WhenTheSpoolerCannotBeAskedNothingIsAdded) {
    start();
    Lines failed;
    for (std::uint64_t call = 1; call < 100; ++call) {
        winapi::fault::arm(call, winapi::fault::Mode::once);
        const DWORD code = send(W("TSAddPort"), old_);
        winapi::fault::disarm();
        const std::string function = winapi::fault::failed_function();
        if (code == 0 || function.rfind("Reg", 0) == 0) break;
        failed.push_back(function);
        EXPECT_EQ(listed(), Lines()) << function;
        EXPECT_EQ(stored(), Lines()) << function;
    }
    for (const char* const function : {"GetSystemDirectoryW", "LoadLibraryW", "GetProcAddress"}) {
        EXPECT_EQ(std::count(failed.begin(), failed.end(), function), 1) << function;
    }
}

}  // namespace
}  // namespace test
