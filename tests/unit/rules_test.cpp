// What an administrator may give a port.
#include "winportmon/contract/rules.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "host/text.h"

namespace test {
namespace {

using contract::Fault;
using host::Text;

void expect_faults(Fault (*fault_of)(contract::TextView), const std::map<Fault, std::vector<Text>>& rows) {
    for (const auto& [fault, texts] : rows) {
        for (const Text& text : texts) {
            EXPECT_EQ(static_cast<int>(fault_of(text)), static_cast<int>(fault)) << host::to_utf8(text);
        }
    }
}

TEST(Rules, AnAddressIsAHostNameOrAnIpAddressAndNothingElse) {
    expect_faults(
        contract::AddressFault,
        {{Fault::none,
          {W("printer12"), W("printer_12.example."), W("192.168.1.20"), W("0.0.0.0"), W("255.255.255.255"),
           W("fe80::1%3"), W("1.2.3.4.example"), W("12a"), W("принтер.example"), Text(128, W('a'))}},
         {Fault::empty, {W("")}},
         {Fault::too_long, {Text(129, W('a'))}},
         {Fault::blank,
          {W(" "), W("a b"), W("a\t"), W("\u00A0a"), W("a\u2003b"), W("a\u3000"), W("a\u2029"), W("a b/c")}},
         {Fault::invisible, {W("a\x01"), W("a\x7F"), W("\uFEFFa"), W("a\u200Bb"), W("a\u202Eb"), W("a\u2066")}},
         {Fault::scheme, {W("http://printer"), W("socket://10.0.0.1:9100")}},
         {Fault::slash, {W("192.168.1.20/ipp"), W("\\\\server\\printer"), W("a\\b")}},
         {Fault::brackets, {W("[fe80::1]"), W("(host)"), W("host)"), W("<host>"), W("{host}")}},
         {Fault::with_port_number, {W("printer:9100"), W("10.0.0.1:"), W(":9100")}},
         {Fault::numeric,
          {W("999.1.1.1"), W("1.1.1.256"), W("1.1.1"), W("1.1.1.1.1"), W("1..1.1"), W("1.1.1.1."), W(".1.1.1"),
           W("010.1.1.1"), W("1.1.1.00"), W("9100"), W("1.1.1.1000")}}});
}

TEST(Rules, ANameIsOneThatWindowsKeepsAndAdministratorsCanTypeAgain) {
    expect_faults(
        contract::NameFault,
        {{Fault::none,
          {W("Room 12 (left)/rear"), W("192.168.1.20:9100"), W("FILE"), W("LPT"), W("LPT1x"), W("COM10"), W("COM1:a"),
           W("NULL"), W("Conference:"), W("TS"), W("TSA1"), W("1TS1"), W("Büro"), W("打印机"), Text(64, W('n'))}},
         {Fault::empty, {W("")}},
         {Fault::too_long, {Text(65, W('n'))}},
         {Fault::backslash, {W("left\\right"), W("a,\\b ")}},
         {Fault::blank, {W(" "), W("Office "), W("\u00A0Office"), W("Office\u3000")}},
         {Fault::invisible, {W("a\tb"), W("Room\u00A012"), W("a\u3000b"), W("a\u200Db"), W("\u202Ea"), W("a\u0085b")}},
         {Fault::comma, {W("Room 12, left")}},
         {Fault::windows_port,
          {W("LPT1:"), W("lpt9"), W("COM1:"), W("com12:"), W("FILE:"), W("file:"), W("NUL:"), W("nul"), W("CON"),
           W("PRN:"), W("aux"), W("PORTPROMPT:")}},
         {Fault::session_port, {W("TS001"), W("ts9"), W("TS1 Office")}}});
}

}  // namespace
}  // namespace test
