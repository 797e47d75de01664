#include "tests/soak/soak.h"

#include <algorithm>

#include "testbed/test_printer/pattern.h"

namespace soak {
namespace {

using host::Result;

struct Choice {
    unsigned of_hundred;
    testbed::DocumentPlan document;
    Result result = Result::printed;
};

constexpr size_t kWritten = 100000;  // bytes of the script with "write"
constexpr std::uint64_t kLost = 14;  // of a hundred documents

const Choice kChoices[] = {
    {56, {}},
    {20, {.progress = true}},
    {10, {.not_approved = true}, Result::refused},
    // The hardware is checked: the helper agrees, holds the job, drops it, fails, or ends early.
    {1, {.checked = true}},
    {1, {.checked = true, .script = "on startdoc WAIT \"Door Open\" for 30 ms then WAIT \"No Paper\" then OK"}},
    {1, {.checked = true, .script = "on wait WAIT then WAIT \"Jammed, Offline\" then OK"}},
    {1, {.checked = true, .script = "on startdoc DELETE"}, Result::dropped},
    {1, {.checked = true, .script = "on startdoc WAIT \"Job Suspended\" then DELETE"}, Result::dropped},
    {1, {.checked = true, .script = "on printeraddress ERROR"}},
    {1, {.checked = true, .script = "on jobid say \"O\" then exit"}},
    {1, {.checked = true, .script = "on enddoc WAIT \"Offline\" then exit"}},
    {1, {.checked = true, .script = "on startdoc close output"}},
    // The helper rewrites the job, or ends while it should.
    {1, {.forced = true, .script = "on forceattr OK then rewrite"}},
    {2, {.forced = true, .script = "on forceattr OK then write 100000 B then exit"}},
    {1, {.forced = true, .script = "on jobid exit"}, Result::failed},
    {1, {.forced = true, .script = "on forceattr exit"}, Result::failed},
};

const Choice& draw(Random& random) {
    std::uint64_t number = below(random, 100);
    const Choice* choice = kChoices;
    for (; number >= choice->of_hundred; ++choice) number -= choice->of_hundred;
    return *choice;
}

void plan_trouble(Random& random, std::uint64_t trouble, Plan& plan) {
    test_printer::Behaviour& behaviour = plan.behaviour;
    const std::uint64_t place = below(random, plan.data.size() + 1);
    if (trouble < kLost) {
        (below(random, 2) == 0 ? behaviour.reset_after : behaviour.close_after) = place;
        // With little room between monitor and printer, what is lost is felt before the end. With less than this, a
        // window that is smaller than this machine's packets makes every one of them wait.
        if (below(random, 2) == 0) behaviour.receive_buffer = 256 << 10;
        plan.is_lost_always = trouble < 2;
    } else if (trouble < 18) {
        behaviour.stall_after = place;
        behaviour.stall_for = std::chrono::milliseconds(1 + below(random, 400));
    } else if (trouble < 19) {
        // Later than the monitor waits for it.
        behaviour.close_delay = std::chrono::milliseconds(1000 + below(random, 500));
    }
}

}  // namespace

std::uint64_t below(Random& random, std::uint64_t end) {
    return random() % end;
}

Plan make_plan(Random& random) {
    static constexpr size_t kLargest[] = {2 << 10, 2 << 10, 2 << 10, 64 << 10, 64 << 10, 1 << 20};
    Plan plan;
    const Choice& choice = draw(random);
    plan.document = choice.document;
    plan.result = choice.result;
    const std::uint64_t trouble = below(random, 100);
    // A small document has been sent before its loss is felt.
    const size_t largest = trouble < kLost ? 1 << 20 : kLargest[below(random, std::size(kLargest))];
    plan.data.resize(1 + below(random, largest));
    std::generate(plan.data.begin(), plan.data.end(), [&random] { return static_cast<char>(random()); });
    if (plan.result != Result::failed) plan.first = plan.data;
    if (plan.document.script.find("write ") != std::string::npos) plan.first = test_printer::pattern(kWritten);
    // Each write logs a dozen lines, for which 63 other threads are waiting too.
    plan.write_size = static_cast<DWORD>(std::max(size_t{512} << below(random, 8), plan.data.size() / 100));
    plan_trouble(random, trouble, plan);
    return plan;
}

}  // namespace soak
