#include "tsport/report/sums.h"

#include <algorithm>
#include <bit>

#include "host/text.h"

namespace tsport::report {
namespace {

// Values below 32 are their own class; above, each power of two has 16 classes.
std::uint16_t class_of(std::uint64_t value) {
    if (value < 32) return static_cast<std::uint16_t>(value);
    const int power = static_cast<int>(std::bit_width(value)) - 1;
    return static_cast<std::uint16_t>(32 + (power - 5) * 16 + static_cast<int>(value >> (power - 4) & 15));
}

std::uint64_t middle_of(std::uint16_t number) {
    if (number < 32) return number;
    const int power = (number - 32) / 16 + 5;
    const auto entry = static_cast<std::uint64_t>((number - 32) % 16);
    return ((16 + entry) << (power - 4)) + (1ull << (power - 4)) / 2;
}

constexpr std::uint64_t least_for_throughput = 65536;

}  // namespace

void Quantiles::add(std::uint64_t value) {
    ++classes_[class_of(value)];
    ++count_;
    least_ = std::min(least_, value);
    most_ = std::max(most_, value);
}

std::uint64_t Quantiles::at(double share) const {
    const auto wanted = static_cast<std::uint64_t>(share * static_cast<double>(count_ - (count_ > 0 ? 1 : 0)));
    std::uint64_t before = 0;
    for (const auto& [number, count] : classes_) {
        before += count;
        if (before > wanted) return std::clamp(middle_of(number), least_, most_);
    }
    return 0;
}

void Totals::add(const Document& document) {
    ++documents;
    taken += document.taken;
    sent += document.sent;
    held_ms += document.held_ms;
    close_ms += document.close_ms;
    ++by_outcome[static_cast<size_t>(document.outcome)];
    if (const auto cause = document.cause()) ++by_cause[static_cast<size_t>(*cause)];
}

std::uint64_t Totals::failed() const {
    return documents - of(Outcome::printed) - of(Outcome::late) - of(Outcome::unknown);
}

std::vector<Cause> Totals::ranked_causes() const {
    std::vector<Cause> found;
    for (size_t i = 0; i < cause_count; ++i) {
        if (by_cause[i] != 0) found.push_back(static_cast<Cause>(i));
    }
    std::sort(found.begin(), found.end(), [this](Cause a, Cause b) { return of(a) != of(b) ? of(a) > of(b) : a < b; });
    return found;
}

// -- Printers --------------------------------------------------------------------------------------------------------

void Sums::add(const Document& document, const Texts& texts) {
    all_.add(document);
    // Lines written with Debug off name an address at most.
    const TextId name = document.printer != 0 ? document.printer : document.address;
    std::uint64_t key = static_cast<std::uint64_t>(document.printer) << 32 | (document.printer == 0 ? name : 0);
    if (printers_.size() >= most_printers && printers_.find(key) == printers_.end()) key = UINT64_MAX;
    PrinterSums& sums = printers_[key];
    if (sums.documents == 0) {
        sums.name = key == UINT64_MAX       ? "(all further printers)"
                    : document.printer != 0 ? texts[name]
                    : name != 0             ? "at " + texts[name]
                                            : "(not named in the log)";
    }
    sums.add(document);
    if (document.detailed && (document.came_out() || document.outcome == Outcome::not_started)) {
        sums.connect.add(document.connect_ms);
    }
    // Until the printer has all of it and closes: the last part waits in the system's buffers when the writes are over.
    if (document.came_out() && !document.rewritten && !document.has(Cause::close_not_seen) &&
        document.sent >= least_for_throughput) {
        sums.throughput.add(document.sent * 1000 /
                            std::max<std::uint64_t>(std::uint64_t{document.write_ms} + document.close_ms, 1));
    }
    if (document.attempt == 3) ++sums.restarted_often;
}

std::vector<const PrinterSums*> Sums::printers() const {
    std::vector<const PrinterSums*> all;
    for (const auto& [key, sums] : printers_) all.push_back(&sums);
    std::sort(all.begin(), all.end(), [](const PrinterSums* a, const PrinterSums* b) {
        return a->documents != b->documents ? a->documents > b->documents : a->name < b->name;
    });
    return all;
}

// -- What stands out -------------------------------------------------------------------------------------------------

namespace {

std::string number(std::uint64_t value) {
    return std::to_string(value);
}

void examine(const PrinterSums& sums, std::vector<Finding>& findings) {
    const auto add = [&](const char* id, const std::string& text) { findings.push_back({id, sums.name, text}); };
    if (sums.connect.count() >= 3 && sums.connect.median() >= 1000) {
        add("printer.slow-to-accept", "slow to accept a document: half of the starts took " +
                                          host::seconds_to_text(static_cast<double>(sums.connect.median()) / 1e3) +
                                          " and more");
    }
    const std::uint64_t unclosed = sums.of(Cause::close_not_seen);
    if (unclosed >= 2 && unclosed * 2 >= sums.of(Outcome::printed) + sums.of(Outcome::late)) {
        add("printer.never-closes", "does not close its side: " + number(unclosed) +
                                        " documents waited 30 s at their end, and the queue with them");
    }
    const std::uint64_t resets = sums.of(Cause::connection_reset) + sums.of(Cause::broken_at_end);
    if (resets >= 2) add("printer.resets", "broke " + number(resets) + " documents off");
    const std::uint64_t unreached = sums.of(Cause::connection_refused) + sums.of(Cause::connection_timed_out) +
                                    sums.of(Cause::unreachable) + sums.of(Cause::address_unknown);
    if (unreached >= 3) add("printer.often-unreachable", "could not be reached " + number(unreached) + " times");
    if (sums.restarted_often > 0) {
        add("job.restarted-often", number(sums.restarted_often) +
                                       (sums.restarted_often == 1 ? " job was" : " jobs were") +
                                       " sent three times and more");
    }
}

}  // namespace

std::vector<Finding> Sums::findings() const {
    std::vector<Finding> findings;
    for (const PrinterSums* const sums : printers()) examine(*sums, findings);
    return findings;
}

// -- Documents -------------------------------------------------------------------------------------------------------

void KeptDocuments::add(const Document& document) {
    const bool good = document.outcome == Outcome::printed && document.causes == 0;
    std::deque<Document>& kept = good ? good_ : bad_;
    kept.push_back(document);
    if (kept.size() <= (good ? most_good : most_bad)) return;
    kept.pop_front();
    ++left_out_;
}

DocumentList KeptDocuments::in_order() const {
    DocumentList all;
    all.reserve(good_.size() + bad_.size());
    for (const Document& document : good_) all.push_back(&document);
    for (const Document& document : bad_) all.push_back(&document);
    std::sort(all.begin(), all.end(), [](const Document* a, const Document* b) {
        return a->start != b->start ? a->start < b->start : a->job < b->job;
    });
    return all;
}

// -- Other errors ----------------------------------------------------------------------------------------------------

void OtherErrors::add(std::string_view message) {
    // Names, numbers and the system's text differ from one to the next.
    const std::string_view common = message.substr(0, std::min<size_t>(message.find_first_of("\"\\0123456789"), 60));
    auto found = errors_.find(common);
    if (found == errors_.end()) {
        const bool full = errors_.size() >= most;
        const std::string text = full ? "(other messages)" : sanitize(message.substr(0, Texts::longest));
        found = errors_.try_emplace(std::string(full ? "" : common), Error{text, 0}).first;
    }
    ++found->second.count;
}

std::vector<OtherErrors::Error> OtherErrors::in_order() const {
    std::vector<Error> all;
    for (const auto& [common, error] : errors_) all.push_back(error);
    std::sort(all.begin(), all.end(),
              [](const Error& a, const Error& b) { return a.count != b.count ? a.count > b.count : a.text < b.text; });
    return all;
}

}  // namespace tsport::report
