// What the two halves of Follower share: a line in its course.
#pragma once

#include "tools/tsport/report/follow.h"

namespace tsport::report {

struct Follower::Step {
    Course& course;
    const Line& line;
    const Message& message;
    Stamp now;

    Document& document() const { return course.document; }
    std::string_view rest() const { return message.rest; }
};

// Between two times; 0 when they are the wrong way around.
std::uint32_t milliseconds(Stamp from, Stamp to);

// "NAME, jobid: 7, write[3/9] = 0 ms 4096 bytes": one of up to twenty lines a document that add nothing.
bool is_slot(std::string_view rest);

}  // namespace tsport::report
