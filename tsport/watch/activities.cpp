#include "tsport/watch/activities.h"

#include "tsport/report/texts.h"

namespace tsport::watch {
namespace {

using report::Event;

constexpr std::pair<Event, Phase> beginnings[] = {
    {Event::held, Phase::held},
    {Event::held_for, Phase::held},
    {Event::looking_up, Phase::connecting},
    {Event::write, Phase::sending},
    {Event::given, Phase::sending},
    {Event::given_rewritten, Phase::sending},
    {Event::rewriting, Phase::rewriting},
    {Event::lost, Phase::waiting},
    {Event::end, Phase::ending},
    {Event::close_awaited, Phase::closing},
};

// The phase of a document after a line.
Phase phase_after(const report::Message& message, Phase now) {
    for (const auto& [event, phase] : beginnings) {
        if (event == message.event) return phase;
    }
    const bool answers = message.event == Event::answered || message.event == Event::check_again;
    const bool asks = message.text != nullptr && std::string_view(message.text) == "tells the helper:";
    return (answers && now == Phase::held) || (asks && now == Phase::starting) ? Phase::checking : now;
}

std::string ago(Timestamp from, Timestamp now) {
    return report::duration_text(report::elapsed_ms(from, now));
}

}  // namespace

const char* name_of(Phase phase) {
    static const char* const names[] = {"starting",  "checking", "held",    "connecting", "sending",
                                        "rewriting", "ending",   "closing", "waiting"};
    return names[static_cast<size_t>(phase)];
}

Activities::Activities(Changed changed)
    : changed_(std::move(changed)),
      tracker_(texts_, {[this](const report::Document& document, const report::EarlierAttempt*) {
                            ended(document);
                            return true;
                        },
                        [](const report::LogLine&, const report::Message&) {},
                        [this](const report::LogLine& line, const report::Message& message,
                               const report::Document& document) { follow(line, message, document); }}) {}

void Activities::add(std::string_view text) {
    report::LogLine line;
    if (report::parse_line(text, line) != report::LineKind::complete) return;
    detailed_ = line.detailed || (detailed_.value_or(false) && !line.error);
    tracker_.process(line);
}

void Activities::follow(const report::LogLine& line, const report::Message& message, const report::Document& document) {
    const auto [place, fresh] = all_.try_emplace(line.thread);
    Activity& activity = place->second;
    if (fresh || message.event == Event::start) activity = {document, Phase::starting, line.time};
    activity.document = document;
    const Phase before = activity.phase;
    activity.phase = phase_after(message, before);
    const bool moved = message.event == Event::given || message.event == Event::given_rewritten;
    if (message.event == Event::write) activity.buffer_given = true;
    if (moved) activity.buffer_given = false;
    if (activity.phase != before || moved || message.event == Event::write) activity.since = line.time;
    if (fresh || activity.phase != before) changed_(activity, false);
}

void Activities::ended(const report::Document& document) {
    auto node = all_.extract(document.thread);
    Activity activity = node.empty() ? Activity() : node.mapped();
    activity.document = document;
    const std::string printer = place_of(document);
    if (document.outcome == report::Outcome::not_started && document.cause()) {
        Refusal& refusal = refusals_[printer];
        const bool goes_on = document.end() - refusal.last <= refusal_counts;
        refusal = {report::cause_text(document, texts_), document.end(), goes_on ? refusal.times + 1 : 1};
    } else {
        refusals_.erase(printer);
    }
    changed_(activity, true);
}

std::map<std::string, Refusal> Activities::refusals(Timestamp now) const {
    std::map<std::string, Refusal> found = refusals_;
    std::erase_if(found, [now](const auto& refusal) { return now - refusal.second.last > refusal_counts; });
    return found;
}

std::string Activities::place_of(const report::Document& document) const {
    const std::string& port = texts_[document.port];
    const std::string& printer = texts_[document.printer];
    return printer.empty() ? port.empty() ? texts_[document.address] : port : printer;
}

std::vector<Attention> Activities::attention_to(const Activity& activity, Timestamp now) const {
    const report::Document& document = activity.document;
    const std::string what = place_of(document) + (document.has_job ? ", job " + std::to_string(document.job) : "");
    std::vector<Attention> found;
    if (activity.phase == Phase::sending && activity.buffer_given && now - activity.since >= stalled_after) {
        found.push_back({"printer.stalled", what + ": the printer has taken nothing for " + ago(activity.since, now)});
    }
    if (activity.phase == Phase::held && now - activity.since > held_long) {
        const std::string& why = texts_[document.held_for];
        found.push_back({"held.long", what + ": held for " + ago(activity.since, now) +
                                          (why.empty() ? "" : " by \"" + why + "\"") +
                                          "; a cluster would have restarted the spooler"});
    }
    if (document.attempt >= restarted_often) {
        found.push_back({"job.restarted", what + ": this is attempt " + std::to_string(document.attempt)});
    }
    return found;
}

std::vector<Attention> Activities::attention(Timestamp now, const std::string& only) const {
    std::vector<Attention> found;
    for (const auto& [thread, activity] : all_) {
        if (!only.empty() && only != place_of(activity.document)) continue;
        const std::vector<Attention> more = attention_to(activity, now);
        found.insert(found.end(), more.begin(), more.end());
    }
    for (const auto& [printer, refusal] : refusals(now)) {
        if (!only.empty() && only != printer) continue;
        found.push_back({"printer.refusing", printer + ": " + refusal.text + ", " +
                                                 report::counted(refusal.times, "time") + ", the last " +
                                                 ago(refusal.last, now) + " ago"});
    }
    return found;
}

}  // namespace tsport::watch
