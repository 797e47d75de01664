// The product's name, and what happens when a precondition does not hold.
#pragma once

#include "common/log.h"

#define PRODUCT_NAME "Tessaron"

// Notes a failed precondition in the log (development level). Never ends the process.
void report_assertion(int value, const char* condition);

// Reports a violated precondition: an error line with the caller's location, and a development line.
#define UTIL_FAILED_ASSERTION(condition)                                  \
    do {                                                                  \
        log_error(LOG_HERE, "message: (%s) assertion failed", condition); \
        report_assertion(0, condition);                                   \
    } while (false)
