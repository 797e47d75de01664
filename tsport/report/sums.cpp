#include "tsport/report/sums.h"

#include <algorithm>
#include <bit>
#include <tuple>
#include <unordered_map>

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
constexpr unsigned usual_port = 9100;

bool started_before(const Document& a, const Document& b) {
    return std::tie(a.start, a.job, a.attempt) < std::tie(b.start, b.job, b.attempt);
}

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

void Totals::add(const Document& document, const EarlierAttempt* earlier) {
    ++attempts;
    if (earlier == nullptr) {
        ++documents;
    } else {
        taken -= earlier->taken;
        --by_outcome[static_cast<size_t>(earlier->outcome)];
    }
    taken += document.taken;
    sent += document.sent;
    held_ms += document.held_ms;
    close_ms += document.close_ms;
    ++by_outcome[static_cast<size_t>(document.outcome)];
    const auto cause = document.cause();
    if (!cause) return;
    const auto place = static_cast<size_t>(*cause);
    ++attempts_by_cause[place];
    if (earlier == nullptr || (earlier->causes >> place & 1) == 0) ++by_cause[place];
}

std::uint64_t Totals::failed() const {
    return documents - printed() - of(Outcome::under_way) - of(Outcome::unknown);
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

void Sums::add(const Document& document, const EarlierAttempt* earlier, const Texts& texts) {
    all_.add(document, earlier);
    if (const auto cause = document.cause(); cause && document.address != 0) {
        std::set<std::string>& addresses = addresses_[*cause];
        const std::string number = std::to_string(document.number != 0 ? document.number : usual_port);
        if (addresses.size() <= most_addresses) addresses.insert(texts[document.address] + " " + number);
    }
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
    sums.add(document, earlier);
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

std::vector<Finding> Sums::findings() const {
    std::vector<Finding> findings;
    for (const PrinterSums* const sums : printers()) {
        const auto add = [&](const char* id, const std::string& text) { findings.push_back({id, sums->name, text}); };
        if (sums->connect.count() >= 3 && sums->connect.median() >= 1000) {
            add("printer.slow-to-accept", "slow to accept a document: half of the starts took " +
                                              host::seconds_to_text(static_cast<double>(sums->connect.median()) / 1e3) +
                                              " and more");
        }
        const std::uint64_t unclosed = sums->of(Cause::close_not_seen);
        if (unclosed >= 2 && unclosed * 2 >= sums->printed()) {
            add("printer.never-closes", "does not close its side: " + std::to_string(unclosed) +
                                            " documents waited 30 s at their end, and the queue with them");
        }
        const auto attempts_of = [&](std::initializer_list<Cause> causes) {
            std::uint64_t count = 0;
            for (const Cause cause : causes) count += sums->attempts_of(cause);
            return count;
        };
        const std::uint64_t resets = attempts_of({Cause::connection_reset, Cause::broken_at_end});
        if (resets >= 2) add("printer.resets", "broke " + std::to_string(resets) + " documents off");
        const std::uint64_t unreached = attempts_of(
            {Cause::connection_refused, Cause::connection_timed_out, Cause::unreachable, Cause::address_unknown});
        if (unreached >= 3) {
            add("printer.often-unreachable", "could not be reached " + std::to_string(unreached) + " times");
        }
        const std::uint64_t often = sums->restarted_often;
        if (often > 0) {
            add("job.restarted-often",
                std::to_string(often) + (often == 1 ? " job was" : " jobs were") + " tried three times and more");
        }
    }
    return findings;
}

std::string Sums::remedy(Cause cause) const {
    constexpr std::string_view command = "`tsport test`";
    std::string text = info_of(cause).remedy;
    const size_t place = text.find(command);
    const auto found = addresses_.find(cause);
    if (place == std::string::npos || found == addresses_.end()) return text;
    std::string commands;
    size_t count = 0;
    for (const std::string& address : found->second) {
        if (count != 0) commands += count == most_addresses ? " ..." : ", ";
        if (count++ != most_addresses) commands += "`tsport test " + address + "`";
    }
    return text.replace(place, command.size(), commands);
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
    std::sort(all.begin(), all.end(), [](const Document* a, const Document* b) { return started_before(*a, *b); });
    return all;
}

void KeptDocuments::mark_tried_again() {
    std::unordered_map<std::uint64_t, std::uint16_t> attempts;  // of each job, from the last to the first
    std::sort(bad_.begin(), bad_.end(), started_before);
    for (auto document = bad_.rbegin(); document != bad_.rend(); ++document) {
        if (document->job_key() == 0) continue;
        std::uint16_t& attempt = attempts[document->job_key()];
        document->tried_again = attempt == document->attempt + 1;
        attempt = document->attempt;
    }
}

bool KeptDocuments::has_trouble() const {
    return std::any_of(bad_.begin(), bad_.end(), [](const Document& document) { return document.is_trouble(); });
}

// -- Other errors ----------------------------------------------------------------------------------------------------

std::string kind_of(std::string_view message) {
    std::string kind;
    const std::string_view prefix = message.starts_with("TSM: ") ? "TSM: " : "";
    message.remove_prefix(prefix.size());
    for (const std::string_view end : {": ", "\"", " - ", "\\"}) message = message.substr(0, message.find(end));
    for (const char c : message.substr(0, 100)) {
        const bool digit = c >= '0' && c <= '9';
        if (!digit || !kind.ends_with('#')) kind += digit ? '#' : c;
    }
    return kind.insert(0, prefix);
}

void OtherErrors::add(std::string_view message, std::optional<Cause> cause) {
    std::string kind = kind_of(message);
    const bool full = errors_.size() >= most && !errors_.contains(kind);
    if (full) kind.clear();
    auto found = errors_.find(kind);
    if (found == errors_.end()) {
        const std::string text = full ? "(other messages)" : sanitize(message.substr(0, Texts::longest));
        found = errors_.try_emplace(kind, Error{text, 0, full ? std::nullopt : cause}).first;
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
