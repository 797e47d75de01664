// The product's name, and what happens when a precondition does not hold.
#pragma once

#define PRODUCT_NAME "Tessaron"

// Notes a failed precondition in the log (development level). Never ends the process.
void report_assertion(int value, const char* condition);
