#include "tsport/migrate/journal.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <string_view>

#include "tsport/json.h"

namespace tsport::migrate {
namespace {

constexpr std::string_view first_line = "{\"journal\": \"tsport migrate\"}\n";
constexpr const char* kinds[] = {"add", "add-standard", "move"};  // by Step::Kind
constexpr std::string_view undone_line = "{\"step\": \"undone\"}\n";

std::string format(const Step& step) {
    return json_line([&](JsonWriter& json) {
        json.member("step", std::string_view(kinds[static_cast<size_t>(step.kind)]));
        if (step.kind == Step::Kind::move) {
            json.member("queue", step.queue);
            json.member("from", step.from);
        }
        json.member("port", step.port.name);
        json.member("address", step.port.address);
        json.member("number", step.port.number);
    });
}

// False for a step that lacks a part of it; a line that was broken off, or says something else, is none.
bool parse(std::string_view line, std::vector<Step>& steps) {
    rapidjson::Document json;
    if (json.Parse(line.data(), line.size()).HasParseError() || !json.IsObject()) return true;
    const auto member = [&](const char* name) {
        const auto found = json.FindMember(name);
        return found != json.MemberEnd() && found->value.IsString() ? std::string(found->value.GetString()) : "";
    };
    bool good = true;
    const auto text = [&](const char* name) {
        const Text converted = host::to_text(member(name));
        good = good && host::to_utf8(converted) == member(name);
        return converted;
    };
    const std::string kind = member("step");
    if (kind == "undone") steps.clear();
    const auto* const known = std::ranges::find(kinds, kind);
    if (known == std::end(kinds)) return true;
    Step step{static_cast<Step::Kind>(known - kinds), {}, text("queue"), text("from")};
    step.port = {text("port"), text("address"), 0};
    if (json.HasMember("number") && json["number"].IsUint()) step.port.number = json["number"].GetUint();
    const bool queue_is_named = step.kind != Step::Kind::move || !(step.queue.empty() || step.from.empty());
    if (!good || step.port.name.empty() || step.port.address.empty() || !queue_is_named) return false;
    steps.push_back(step);
    return true;
}

}  // namespace

Journal::~Journal() {
    if (stream_ != nullptr) std::fclose(stream_);
}

bool Journal::open(const std::string& path, std::string& why) {
    path_ = path;
    const bool exists = is_there(path);
    if (!take_lock(lock_, path, std::chrono::seconds(0), why)) return false;
    std::string contents;
    if (exists && !is_file(path)) return host::refuse(why, path + " is not an ordinary file");
    if (exists && !read_file(path, contents, why)) return false;
    // A first line that was broken off is the whole file.
    const std::string_view beginning = std::string_view(contents).substr(0, first_line.size());
    if (!first_line.starts_with(beginning)) return host::refuse(why, path + " is not a journal of a migration");
    std::istringstream lines(contents);
    for (std::string line; std::getline(lines, line);) {
        // The step of a line that was broken off was never begun.
        if (!parse(line, steps_)) return host::refuse(why, path + " has a line that names no step: " + line);
    }
    stream_ = open_stream(path, "ab");
    if (stream_ == nullptr) return host::refuse(why, path + " cannot be written: " + std::strerror(errno));
    const bool whole = beginning.size() == first_line.size();
    const std::string start = contents.empty() || contents.back() == '\n' ? "" : "\n";
    return whole ? start.empty() || write_line(start, why)
                 : write_line(std::string(first_line.substr(beginning.size())), why);
}

// Only what can be read back is worth writing.
bool Journal::write(const Step& step, std::string& why) {
    const std::string line = format(step);
    std::vector<Step> read;
    const bool good = parse(line, read) && read.size() == 1 && read[0].kind == step.kind &&
                      read[0].port.name == step.port.name && same_printer(read[0].port, step.port) &&
                      read[0].queue == step.queue && read[0].from == step.from;
    if (good) return write_line(line, why);
    why = "the journal cannot hold the step " + line;
    return false;
}

bool Journal::write_undone(std::string& why) {
    return write_line(std::string(undone_line), why);
}

bool Journal::write_line(const std::string& line, std::string& why) {
    if (std::fwrite(line.data(), 1, line.size(), stream_) == line.size() && flush_to_disk(stream_)) return true;
    why = "the journal " + path_ + " cannot be written: " + std::strerror(errno);
    return false;
}

}  // namespace tsport::migrate
