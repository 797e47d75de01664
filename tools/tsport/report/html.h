// The parts of the page.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/tsport/report/writer.h"

namespace tsport::report::html {

// A text as the page shows it, in an element or in a quoted attribute; always escaped.
struct Shown {
    std::string_view text;
};
Writer& operator<<(Writer& out, Shown shown);

// The style and the script of the page, and the hash by which the page's policy admits the script.
extern const char style[];
extern const char script[];
extern const char script_hash[];

using Documents = std::vector<const Document*>;

// How a document is drawn.
enum class Look { printed, late, failed, kept_back, unknown };
Look look_of(const Document& document);
const char* class_of(Look look);

void put_failures_over_time(Writer& out, const Documents& documents);
void put_timeline(Writer& out, const Report& report, const Documents& documents);
void put_speed(Writer& out, const Report& report);

}  // namespace tsport::report::html
