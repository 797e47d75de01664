// What each port does at the moment, from the lines of a log as it grows.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tsport/report/tracker.h"

namespace tsport::watch {

using report::Timestamp;

enum class Phase { starting, checking, held, connecting, sending, rewriting, ending, closing, waiting };
const char* name_of(Phase phase);

// A document under way.
struct Activity {
    report::Document document;
    Phase phase = Phase::starting;
    Timestamp since;            // of the phase; while sending: when the printer last took a buffer
    bool buffer_given = false;  // a buffer is on its way to the printer
};

// Something that somebody has to see to.
struct Attention {
    const char* id;  // "printer.stalled", "held.long", "job.restarted", "printer.refusing"
    std::string text;
};

// A printer that took no document when it was last tried.
struct Refusal {
    std::string text;  // why
    Timestamp last;
    std::uint64_t times = 0;
};

class Activities {
  public:
    static constexpr std::chrono::seconds stalled_after{30};  // the monitor gives a buffer up after 20, twice
    static constexpr std::chrono::seconds held_long{180};  // a cluster restarts a spooler that does not answer so long
    static constexpr std::uint16_t restarted_often = 3;
    static constexpr std::chrono::minutes refusal_counts{10};  // unless the printer is tried again

    // `changed` is called when a document enters a phase, and with `ended` when it has ended.
    using Changed = std::function<void(const Activity& activity, bool ended)>;
    explicit Activities(Changed changed);

    // A line without its line feed.
    void add(std::string_view line);

    const std::map<std::uint32_t, Activity>& all() const { return all_; }  // by the thread that drives it
    std::map<std::string, Refusal> refusals(Timestamp now) const;          // that still count
    const report::Texts& texts() const { return texts_; }
    // Of one document; and of all and of the printers that refuse, or of one printer alone.
    std::vector<Attention> attention_to(const Activity& activity, Timestamp now) const;
    std::vector<Attention> attention(Timestamp now, const std::string& printer = "") const;
    // Whether a detailed line was among the last ones: with Debug off nothing of documents under way is logged. None:
    // there was no line.
    std::optional<bool> detailed() const { return detailed_; }

  private:
    void follow(const report::LogLine& line, const report::Message& message, const report::Document& document);
    void ended(const report::Document& document);
    std::string place_of(const report::Document& document) const;

    report::Texts texts_;
    Changed changed_;
    std::map<std::uint32_t, Activity> all_;
    std::map<std::string, Refusal> refusals_;
    std::optional<bool> detailed_;
    report::DocumentTracker tracker_;
};

}  // namespace tsport::watch
