#include "tests/soak/plan.h"

#include <algorithm>
#include <cstring>

#include "tools/peer/pattern.h"

namespace soak {
namespace {

// Below what share of a thousand the value lies.
template <typename Value>
struct Share {
    Value value;
    unsigned of_thousand;
};

constexpr Share<Kind> kKindShares[] = {
    {Kind::direct, 560},    {Kind::progress, 200},    {Kind::not_approved, 100}, {Kind::check_ok, 40},
    {Kind::check_wait, 20}, {Kind::check_delete, 20}, {Kind::check_error, 20},   {Kind::check_dies, 20},
    {Kind::forced, 12},     {Kind::forced_dies, 8},
};
constexpr Share<Trouble> kTroubleShares[] = {
    {Trouble::none, 780},   {Trouble::lost_once, 100}, {Trouble::lost_always, 20}, {Trouble::lost_felt, 20},
    {Trouble::refused, 30}, {Trouble::stalled, 40},    {Trouble::slow_close, 10},
};
// Each up to this many bytes.
constexpr Share<size_t> kSizeShares[] = {
    {2048, 500}, {size_t{64} << 10, 350}, {size_t{512} << 10, 135}, {size_t{4} << 20, 15}};

template <typename Value, size_t N>
Value draw(Random& random, const Share<Value> (&shares)[N]) {
    std::uint64_t number = below(random, 1000);
    for (const Share<Value>& share : shares) {
        if (number < share.of_thousand) return share.value;
        number -= share.of_thousand;
    }
    return shares[0].value;
}

template <size_t N>
std::string pick(Random& random, const char* const (&texts)[N]) {
    return texts[below(random, N)];
}

std::string random_bytes(Random& random, size_t size) {
    std::string data((size + 7) / 8 * 8, '\0');
    for (size_t i = 0; i < data.size(); i += 8) {
        const std::uint64_t word = random();
        std::memcpy(data.data() + i, &word, sizeof word);
    }
    data.resize(size);
    return data;
}

void plan_check(Random& random, Plan& plan) {
    static constexpr const char* kCommands[] = {"printername", "printeraddress", "jobid", "wait", "startdoc", "enddoc"};
    static constexpr const char* kWaits[] = {"on startdoc WAIT \"Door Open\" for 30 ms then WAIT \"No Paper\" then OK",
                                             "on wait WAIT then WAIT \"Jammed, Offline\" then OK",
                                             "on enddoc WAIT \"Output Full\" for 20 ms then OK"};
    static constexpr const char* kDeletes[] = {"on startdoc DELETE", "on startdoc WAIT \"Job Suspended\" then DELETE"};
    static constexpr const char* kDeaths[] = {"exit", "say \"O\" then exit", "WAIT \"Offline\" then exit",
                                              "close output"};
    const std::string command = "on " + pick(random, kCommands) + " ";
    if (plan.kind == Kind::check_wait) plan.course.script = pick(random, kWaits);
    if (plan.kind == Kind::check_delete) plan.course.script = pick(random, kDeletes);
    if (plan.kind == Kind::check_error) plan.course.script = command + "ERROR";
    if (plan.kind == Kind::check_dies) plan.course.script = command + pick(random, kDeaths);
}

void plan_rewriting(Random& random, Plan& plan) {
    static constexpr const char* kCommands[] = {"printername", "spoolfile", "jobid", "forceattr"};
    const std::string begin = "on forceattr OK then ";
    if (plan.kind == Kind::forced) {
        plan.course.script = begin + "rewrite";
        plan.rewritten = plan.data;
        if (below(random, 2) == 0) return;
        const std::string head = "%!PS\n";
        plan.rewritten = head + "<< /Duplex true /Tumble false /NumCopies 2 >> setpagedevice\n" + plan.data;
        plan.data.insert(0, head);
        return;
    }
    plan.helper_fails = below(random, 2) == 0;
    const size_t size = below(random, 200000);
    // As the sample helper's "write N B" writes it.
    if (!plan.helper_fails) plan.rewritten = peer::pattern(size);
    plan.course.script = plan.helper_fails ? "on " + pick(random, kCommands) + " exit"
                                           : begin + "write " + std::to_string(size) + " B then exit";
}

void plan_trouble(Random& random, Plan& plan) {
    peer::Behaviour& behaviour = plan.behaviour;
    if (plan.trouble == Trouble::lost_felt) {
        plan.write_size = static_cast<DWORD>(plan.data.size() / 4 + 1);
        const bool is_felt = plan.data.size() > 8 && !plan.is_forced() && plan.kind != Kind::not_approved &&
                             plan.kind != Kind::check_delete;
        if (!is_felt) plan.trouble = Trouble::lost_once;
    }
    const bool felt = plan.trouble == Trouble::lost_felt;
    const std::uint64_t place = below(random, felt ? plan.write_size : plan.data.size() + 1);
    const bool reset = below(random, 2) == 0;
    if (felt || plan.trouble == Trouble::lost_once || plan.trouble == Trouble::lost_always) {
        (reset ? behaviour.reset_after : behaviour.close_after) = place;
        // With little room between monitor and printer, what is lost is felt before the end. With less than this, a
        // window that is smaller than this machine's packets makes every one of them wait.
        if (below(random, 2) == 0) behaviour.receive_buffer = 256 << 10;
    } else if (plan.trouble == Trouble::stalled) {
        behaviour.stall_after = place;
        behaviour.stall_for = std::chrono::milliseconds(1 + below(random, 400));
    } else if (plan.trouble == Trouble::slow_close) {
        behaviour.close_delay = std::chrono::milliseconds(1000 + below(random, 500));
    }
}

}  // namespace

std::uint64_t below(Random& random, std::uint64_t end) {
    return random() % end;
}

Plan make_plan(Random& random) {
    Plan plan;
    plan.kind = draw(random, kKindShares);
    plan.trouble = draw(random, kTroubleShares);
    plan.data = random_bytes(random, 1 + below(random, draw(random, kSizeShares)));
    // Each write logs a dozen lines, for which 63 other threads are waiting too.
    plan.write_size = static_cast<DWORD>(std::max(size_t{512} << below(random, 8), plan.data.size() / 100));
    plan.course.not_approved = plan.kind == Kind::not_approved;
    plan.course.progress = plan.kind == Kind::progress;
    plan.course.checked = plan.is_checked();
    plan.course.forced = plan.is_forced();
    if (plan.is_checked()) plan_check(random, plan);
    if (plan.is_forced()) plan_rewriting(random, plan);
    plan_trouble(random, plan);
    return plan;
}

}  // namespace soak
