// What the helper answers, read from a text file:
//
//   # a printer with an open door, then a job that is dropped
//   on startdoc WAIT "Door Open" for 300 ms then WAIT until closed then DELETE
//   run 2: on printeraddress ERROR
//
// One line tells what follows one command; several lines for the same command are taken one after the other. "any"
// stands for every command that has no line of its own. "run 2:" makes a line count only for the second helper that was
// started in its folder. A command without a line is answered with OK; "forceattr" is followed by the rewritten job.
//
//   OK, DELETE, ERROR   the answer of that name
//   WAIT "text"         holds the job because of that problem, or of none without a text. The monitor's reply is read;
//                       when it is STOP, the rest of the line is left out.
//   silence             writes nothing
//   taken               writes nothing until the monitor has read what was written so far
//   say "text"          writes just this; \n is a line feed
//   write 200 MiB       writes as many bytes (B, KiB, MiB), different at every place
//   rewrite             writes the spool file: a PostScript job with a request for duplex and two copies in front of
//                       its page, any other byte for byte
//   close output        writes nothing any more, but goes on reading
//   exit                ends at once
//
// A printer may have a script of its own, "PRINTER.script" beside the common one, which then counts alone.
//
// WAIT and silence last "for 300 ms" (ms or s), or "until NAME": until there is a file of that name in the helper's
// folder. Silence with neither lasts until the monitor closes the helper's input.
#pragma once

#include <chrono>
#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <vector>

namespace helper {

struct Step {
    enum class Kind { answer, wait, silence, taken, say, write, rewrite, close_output, exit };
    Kind kind = Kind::answer;
    std::string text = {};  // of the answer; what to say; the problem
    std::uint64_t bytes = 0;
    std::chrono::milliseconds time{0};
    std::string until = {};  // a file's name
};
using Steps = std::vector<Step>;

class Script {
  public:
    // The lines that count for this run. False with the reason when one cannot be understood.
    bool read(std::istream& input, unsigned run, std::string& why);
    Steps steps_for(const std::string& command) const;

  private:
    std::map<std::string, Steps> steps_;
};

}  // namespace helper
