// Problem words to status bits.
#include "winportmon/tsmon/helper_status.h"

#include <gtest/gtest.h>

namespace {

TEST(HelperStatus, BitsOfProblemTexts) {
    const std::tuple<std::string, DWORD, DWORD> cases[] = {
        {"", 0, 0},
        {"no paper", 0, 0},
        {"No Paper", 0x10, 0x40},
        {"Offline", 0x2, 0x2},
        {"Job Suspended", 0, 0x2},
        {"Jammed, Offline", 0x8, 0x2},
        {"Offline; No Paper", 0x10, 0x40},
        {"tray 2: Low Toner / No Toner / Door Open", 0x460000, 0x2},
        {"Output Full and Output Near Full", 0x800, 0x2},
        {"Low Paper", 0x2, 0x2},
        {"Service Requested", 0x2, 0x2},
        {"Input Tray Missing", 0x2, 0x2},
        {"Output Tray Missing", 0x2, 0x2},
        {"Marker Supply Missing", 0x2, 0x2},
        {"Output Near Full", 0x2, 0x2},
        {"Input Tray Empty", 0x2, 0x2},
        {"Overdue Prevent Maintenance", 0x2, 0x2},
    };
    for (const auto& [text, printer, job] : cases) {
        EXPECT_EQ(tsmon::PrinterStatusFromErrorText(text.c_str()), printer) << text;
        EXPECT_EQ(tsmon::JobStatusFromErrorText(text.c_str()), job) << text;
    }
}

}  // namespace
