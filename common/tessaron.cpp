#include "common/tessaron.h"

#include "common/log.h"

namespace {

// The place every such line names, whoever found the precondition broken.
constexpr const char* kPlaceFile = "tessaron.cpp";
constexpr int kPlaceLine = 30;

}  // namespace

void report_assertion(int value, const char* condition) {
    log_dev(kPlaceFile, kPlaceLine, "Assertion failed: %d : %s", value, condition);
}
