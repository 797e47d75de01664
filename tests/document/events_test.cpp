// tsport doctor --events: whether a crash of the spooler was this library's, from events as Windows exports them.
#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tsport/doctor/crashes.h"

namespace test {
namespace {

using tsport::doctor::CrashContext;
using tsport::doctor::Event;
using tsport::doctor::Findings;

std::string event(const std::string& provider, int id, const std::string& time, const std::string& data) {
    return "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider Name='" + provider +
           "'/><EventID Qualifiers='0'>" + std::to_string(id) + "</EventID><TimeCreated SystemTime='" + time +
           "'/><Channel>Application</Channel><Security/></System>" + data + "</Event>\r\n";
}

std::string application_error(const std::string& application, const std::string& module, const std::string& time) {
    std::string data = "<EventData>";
    for (const std::string& field :
         {application, std::string("10.0.20348.1"), std::string("5f1a2b3c"), module, std::string("1.0.0.0"),
          std::string("00000000"), std::string("c0000005"), std::string("0000000000001a2b"), std::string("0x1f4")}) {
        data += "<Data>" + field + "</Data>";
    }
    return event("Application Error", 1000, time, data + "</EventData>");
}

std::string service_ended(const std::string& time) {
    return event("Service Control Manager", 7031, time,
                 "<EventData><Data Name='param1'>Druckwarteschlange</Data><Data Name='param2'>1</Data>"
                 "<Binary>530070006F006F006C00650072002F0034000000</Binary></EventData>");
}

// "id: what" of each finding.
std::vector<std::string> found(const std::string& xml) {
    std::vector<Event> events;
    std::string why;
    EXPECT_TRUE(tsport::doctor::read_events(xml, events, why)) << why;
    Findings findings;
    tsport::doctor::check_events(events, {"1.0.0", "", {"other.dll"}, {}}, findings);
    std::vector<std::string> lines;
    for (const tsport::doctor::Finding& finding : findings.all()) {
        for (const auto& place : finding.places) lines.push_back(finding.kind->id + ": " + place.found);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST(Events, SayWhoseFaultACrashWas) {
    const struct {
        const char* module;
        const char* id;
    } verdicts[] = {{"tsprintportmon.dll", "events.this-library: "},
                    {"TSPrintPortMon.DLL", "events.this-library: "},
                    {"vendor64.dll", "events.other-module: "},
                    {"ntdll.dll", "events.unknown-module: "},
                    {"unknown", "events.unknown-module: "}};
    for (const auto& verdict : verdicts) {
        const std::vector<std::string> lines =
            found(application_error("spoolsv.exe", verdict.module, "2026-11-24T10:00:00.1234567Z") +
                  application_error("spoolsv.exe", verdict.module, "2026-11-23T10:00:00Z") +
                  application_error("notepad.exe", "tsprintportmon.dll", "2026-11-24T11:00:00Z") +
                  service_ended("2026-11-24T10:00:05Z"));
        ASSERT_EQ(lines.size(), 1u) << verdict.module;
        EXPECT_EQ(lines[0].rfind(verdict.id, 0), 0u) << lines[0];
        EXPECT_NE(lines[0].find("2 times, the last at 2026-11-24"), std::string::npos) << lines[0];
        EXPECT_NE(lines[0].find("offset 0x0000000000001a2b, exception 0xc0000005"), std::string::npos) << lines[0];
    }
}

TEST(Events, ASpoolerThatEndedWithoutAModuleIsNotExplained) {
    const std::vector<std::string> lines =
        found(application_error("spoolsv.exe", "vendor64.dll", "2026-11-24T10:00:00Z") +
              service_ended("2026-11-24T10:30:00Z") +
              event("Service Control Manager", 7034, "2026-11-24T12:00:00Z",
                    "<EventData><Data Name='param1'>Another service</Data></EventData>") +
              event("Microsoft-Windows-PrintService", 808, "2026-11-24T12:00:00Z",
                    "<UserData><LoadPluginFailed xmlns='x'><PluginDllName>C:\\Windows\\System32\\tsprintportmon.dll"
                    "</PluginDllName><ErrorCode>0x7e</ErrorCode></LoadPluginFailed></UserData>") +
              event("Microsoft-Windows-PrintService", 361, "2026-11-24T12:00:00Z",
                    "<UserData><E><Param1>Front &amp; back</Param1></E></UserData>"));
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].rfind("events.not-loaded: ", 0), 0u) << lines[0];
    EXPECT_EQ(lines[1].rfind("events.other-module: at 2026", 0), 0u) << lines[1];
    EXPECT_EQ(lines[3].rfind("events.unknown-module: at 2026", 0), 0u) << lines[3];
    EXPECT_NE(lines[2].find("\"Front & back\" failed"), std::string::npos) << lines[2];
}

TEST(Events, FilesAreReadInEitherEncodingAndOddOnesRefused) {
    const std::string one = application_error("spoolsv.exe", "a.dll", "2026-11-24T10:00:00Z");
    std::string utf16 = "\xFF\xFE";
    for (const char c : "<Events>" + one + "</Events>") utf16 += {c, '\0'};
    EXPECT_EQ(found(utf16).size(), 1u);
    std::string deep = "<Event>";
    for (int i = 0; i < 30'000; ++i) deep += "<a>";
    EXPECT_EQ(found(deep + "</Event>" + one.substr(0, 200) + one).size(), 1u);
    for (const std::string& odd :
         {std::string(), std::string("ElfFile\0\0", 9), deep, std::string("<Event>&#xFFFFFFF;")}) {
        std::vector<Event> events;
        std::string why;
        EXPECT_FALSE(tsport::doctor::read_events(odd, events, why));
        EXPECT_NE(why.find("wevtutil qe"), std::string::npos) << why;
    }
}

}  // namespace
}  // namespace test
