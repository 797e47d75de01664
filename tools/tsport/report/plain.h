// The lines of a log written with Debug off: no thread, no job, and nothing of documents that were printed. Each thing
// that went wrong makes a document of which little more is known.
#pragma once

#include <deque>
#include <functional>
#include <optional>

#include "tools/tsport/report/document.h"
#include "tools/tsport/report/messages.h"

namespace tsport::report {

class PlainLines {
  public:
    PlainLines(Texts& texts, std::function<void(const Document&)> tell) : texts_(texts), tell_(std::move(tell)) {}

    // False when the line is not one of a document.
    bool take(Stamp now, std::string_view message, const Message& known);
    void finish();

  private:
    // Lines that tell a part of a failure before the one that names it.
    struct Loss {
        Trouble trouble;
        TextId detail;
        Stamp at;
    };
    static constexpr size_t most_losses = 256;
    static constexpr Stamp longest_loss = 60'000;  // a broken connection is closed within half of that

    bool take_loss(Stamp now, const Message& known);
    bool take_failure(Stamp now, std::string_view message, const Message& known);
    void loss(Stamp now, Trouble trouble, std::string_view text);
    void lost(Stamp now);
    void tell(Document document);
    void tell(Stamp now, Outcome outcome, Trouble trouble, TextId detail = 0);
    void tell_place(Stamp now, Trouble trouble, TextId port, TextId address);
    void tell_not_approved(Stamp now, std::string_view rest);
    void tell_overdue(Stamp now);

    Texts& texts_;
    std::function<void(const Document&)> tell_;
    std::deque<Loss> losses_;
    std::optional<Document> last_;
    TextId step_ = 0;
};

}  // namespace tsport::report
