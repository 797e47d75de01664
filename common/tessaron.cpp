#include "common/tessaron.h"

#include "common/log.h"

namespace {

// The location that every such line names, whichever caller found the violation.
constexpr const char* kPlaceFile = "tessaron.cpp";
constexpr int kPlaceLine = 30;

}  // namespace

void report_assertion(int value, const char* condition) {
    log_dev(kPlaceFile, kPlaceLine, "Assertion failed: %d : %s", value, condition);
}
