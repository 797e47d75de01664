// tsport doctor: what its transcript (tsport.txt) cannot show. What only a server shows, from what it would be read of;
// odd event files; and the list of findings in docs/.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <set>

#include "host/setup.h"
#include "tests/support/files.h"
#include "tests/support/print_server.h"
#include "tests/support/scratch.h"
#include "tsport/doctor/base.h"
#include "tsport/doctor/binary.h"
#include "tsport/doctor/crashes.h"
#include "tsport/doctor/server.h"
#include "tsport/platform.h"
#include "tsport/run.h"
#include "winportmon/contract/names.h"

namespace test {
namespace {

using host::Text;
using tsport::doctor::Findings;
using Ids = std::vector<std::string>;

// The headers of a library for x64 with one section, which holds its imports and its version, 1.0.0.0.
std::string library_bytes() {
    const struct {
        size_t at;
        std::uint32_t number;
    } numbers[] = {{0, 0x5A4D},     {0x3C, 0x80},    {0x80, 0x4550},  {0x84, 0x8664 | 1 << 16},
                   {0x94, 0xF0},    {0x98, 0x20B},    // the optional header: size, kind, imports
                   {0x110, 0x1000}, {0x194, 0x1000},  // the section: address, size, offset
                   {0x198, 0x200},  {0x19C, 0x200},  {0x20C, 0x1100}, {0x340, 0xFEEF04BD},  // the first import's name
                   {0x348, 1 << 16}};
    std::string bytes(0x400, '\0');
    for (const auto& [at, number] : numbers) {
        for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(number >> 8 * i);
    }
    return bytes.replace(0x300, 12, "KERNEL32.dll");
}

Ids ids_of(const Findings& findings) {
    Ids ids;
    for (const tsport::doctor::Finding& finding : findings.all()) ids.push_back(finding.kind->id);
    return ids;
}

// What the pattern's first group has matched, all through the text.
Ids found_in(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    Ids found;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match)
        found.push_back((*match)[1]);
    return found;
}

Ids ids_in(const std::string& json) {
    return found_in(json, "\"id\": \"([^\"]*)\"");
}

// -- A copied server; most of its faults stand in tsport.txt ---------------------------------------------------------

TEST(Doctor, NamesLongLinesAndALogThatCannotBeWritten) {
    const ScratchDir scratch;
    const fs::path base = path_of(scratch.native());
    const auto ids_for = [&base](const std::string& settings) {
        EXPECT_TRUE(write_file(base / "print-provider.conf", settings));
        return ids_in(tsport::run({"doctor", "--base", utf8_of(base), "--json", "--only", "conf,log"}).out);
    };
    EXPECT_EQ(ids_for("IgnorePrinters=" + std::string(9000, 'x') + "\n"), Ids{"conf.long-line"});
    EXPECT_EQ(ids_for("ServerName=" + std::string(2000, 'x') + "\n"), Ids{"conf.cut-value"});
    const fs::path log = base / "print-monitor.log";
    EXPECT_TRUE(write_file(log, "2026-03-01 10:00:00,000 INFO : TSM init complete\n"));
    fs::permissions(log, fs::perms::owner_read);
    EXPECT_EQ(ids_for("Debug=off\n"), Ids{"log.not-writable"});
    fs::permissions(log, fs::perms::owner_write, fs::perm_options::add);  // Windows removes no read-only file
}

TEST(Doctor, FitsOnTwoScreensAndGivesCommandsAsData) {
    Findings findings;
    for (const tsport::doctor::Kind& kind : tsport::doctor::kinds()) {
        if (kind.id.starts_with("ports.") || kind.id.starts_with("queues.")) {
            for (size_t i = 0; i < 3200; ++i) findings.add(kind.id, "found", "Room " + std::to_string(i));
        }
    }
    findings.saw("ports", "3300 ports", 3300);
    const std::string many = findings.to_text();
    EXPECT_LE(std::count(many.begin(), many.end(), '\n'), 48);
    EXPECT_NE(many.find("[X] ports.no-answer: 3200 of 3300 ports: \"Room 0\", \"Room 1\", "), std::string::npos)
        << many;
    EXPECT_NE(many.find("\"Room 9\", and 3190 more\n"), std::string::npos) << many;

    findings = Findings();
    findings.add("ports.no-answer", "", "Room 1");
    for (const char* const name : {"$(x)", "\u201Cx", "a\x1B"}) findings.add("ports.no-answer", "", name);
    EXPECT_NE(findings.to_json().find("\"commands\": [\"tsport test \\\"Room 1\\\"\"]"), std::string::npos)
        << findings.to_json();
}

// -- What only a server shows ----------------------------------------------------------------------------------------

// A part of the registry that is gone with the test.
class Hive {
  public:
    Hive() { RegCreateKeyExW(tsport::private_hive(), root_, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_, nullptr); }
    ~Hive() {
        for (const Text& path : made_) RegDeleteKeyW(key_, path.c_str());
        RegCloseKey(key_);
        RegDeleteKeyW(tsport::private_hive(), root_);
    }
    Hive(const Hive&) = delete;
    Hive& operator=(const Hive&) = delete;

    HKEY get() const { return key_; }
    void set(const Text& path, LPCWSTR name, DWORD type, const void* data, size_t size) {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(key_, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
        RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
        RegCloseKey(key);
        for (size_t end = path.size(); end != Text::npos && end != 0; end = path.rfind(W('\\'), end - 1)) {
            made_.insert(path.substr(0, end));
        }
    }
    void set(const Text& path, LPCWSTR name, const Text& text) {
        set(path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
    }
    void set(const Text& path, LPCWSTR name, DWORD number) { set(path, name, REG_DWORD, &number, sizeof number); }

  private:
    LPCWSTR const root_ = W("tsport-doctor-test");
    HKEY key_ = nullptr;
    std::set<Text, std::greater<>> made_;  // what lies below a key before it
};

TEST(DoctorOfAServer, ReadsTheRegistryAsTheMonitorDoes) {
    Hive hive;
    Findings nothing;
    EXPECT_FALSE(check_registration(hive.get(), nothing));
    EXPECT_EQ(tsport::doctor::find_base(hive.get(), nothing), "");
    EXPECT_EQ(ids_of(nothing), (Ids{"monitor.not-registered", "provider.not-registered"}));

    const Text key = contract::kMonitorKey;
    hive.set(key, W("Driver"), W("other.dll"));
    hive.set(W("SOFTWARE\\Wow6432Node\\ts-print-provider"), W("InstallPath"), W("C:\\nowhere"));
    hive.set(W("SOFTWARE\\Wow6432Node\\Tessaron"), W("InstallPath"), W("C:\\elsewhere"));
    const Text policies = W("SOFTWARE\\Policies\\Microsoft\\Windows NT\\Printers\\WPP");
    hive.set(policies, W("WindowsProtectedPrintMode"), 1);
    hive.set(policies, W("WindowsProtectedPrintGroupPolicyState"), 1);
    const Text ports = key + W("\\Ports\\");
    hive.set(ports + W("good"), W("HostName"), W("printer"));
    hive.set(ports + W("good"), W("PortNumber"), 9100);
    hive.set(ports + W("large"), W("HostName"), W("printer"));
    hive.set(ports + W("large"), W("PortNumber"), 65536);
    hive.set(ports + W("no number"), W("HostName"), W("printer"));
    hive.set(ports + W("text"), W("HostName"), W("printer"));
    hive.set(ports + W("text"), W("PortNumber"), W("9100"));
    hive.set(ports + W("too long"), W("HostName"), Text(200, W('x')));
    hive.set(ports + Text(65, W('n')), W("HostName"), W("printer"));
    hive.set(ports + Text(65, W('n')), W("PortNumber"), 9100);
    Findings findings;
    EXPECT_FALSE(check_registration(hive.get(), findings));
    check_protected_print(hive.get(), findings);
    EXPECT_EQ(tsport::doctor::find_base(hive.get(), findings), "");
    const std::vector<tsport::Port> read = tsport::doctor::read_registry_ports(hive.get(), findings);
    EXPECT_EQ(ids_of(findings), (Ids{"monitor.other-driver", "monitor.protected-print", "provider.no-base",
                                     "ports.not-loaded", "provider.two-places"}));
    EXPECT_EQ(findings.all()[1].places.size(), 2u);
    EXPECT_EQ(findings.all()[3].places.size(), 4u);
    ASSERT_EQ(read.size(), 2u);
    check_ports(read, findings);
    EXPECT_TRUE(findings.has("ports.bad-number", "large"));
    EXPECT_FALSE(findings.has("ports.bad-number", "good"));
    EXPECT_EQ(host::to_utf8(read[0].address), "printer");
    EXPECT_EQ(read[0].number, 9100u);
}

TEST(DoctorOfAServer, FindsQueuesAndPortsThatHaveLostEachOther) {
    const tsport::doctor::SpoolerView view = {
        {{W("A"), {W("one"), W("LPT1:")}}, {W("B"), {W("gone"), W("stored"), W("bad")}}},
        {{W("ONE"), contract::kMonitorName},
         {W("two"), contract::kMonitorName},
         {W("new"), contract::kMonitorName},
         {W("LPT1:"), W("Local Port")},
         {W("LPT2:"), W("Local Port")}},
        {W("NEW")}};
    const std::vector<tsport::Port> stored = {{W("one"), W("h"), 1}, {W("new"), W("h"), 1}, {W("Stored"), W("h"), 1}};
    const auto found = [&](const char* before) {
        Findings findings;
        findings.add(before, "", "bad");
        check_queues(view, stored, findings);
        std::string text;
        for (const tsport::doctor::Finding& finding : findings.all()) {
            text += finding.kind->id + ":";
            for (const tsport::doctor::Place& place : finding.places) text += " " + place.subject;
            text += "\n";
        }
        return text;
    };
    EXPECT_EQ(found("ports.not-loaded"),
              "ports.not-loaded: bad\nports.unknown-to-spooler: new Stored\nqueues.port-gone: gone\nports.not-stored: "
              "two\nqueues.no-queue: two\n");
    EXPECT_EQ(found("spooler.not-loaded"),
              "spooler.not-loaded: bad\nqueues.port-gone: gone bad\nports.not-stored: two\nqueues.no-queue: two\n");
}

class DoctorOfASpooler : public PrintServer {};

TEST_F(DoctorOfASpooler, NamesPortsThatItDoesNotOpen) {
    start();
    for (const bool strict : {false, true}) {
        spooler_sim::set_strict_port_list(strict);
        const PortConfig added = port_config(strict ? W("New") : W("Old"), W("127.0.0.1"), 9100);
        EXPECT_EQ(send_config(monitor, contract::kAddPort, added, SERVER_ACCESS_ADMINISTER), 0u);
        Findings findings({{"ports.unknown-to-spooler"}, {}});
        check_queues(tsport::Spooler(), {}, findings);
        EXPECT_EQ(ids_of(findings), strict ? Ids{"ports.unknown-to-spooler"} : Ids());
    }
}

TEST(DoctorOfAServer, LooksIntoTheLibrary) {
    const fs::path folder = path_of(host::make_temporary_folder());
    const std::string path = utf8_of(folder / "tsprintportmon.dll");
    const auto findings_of = [&](const std::string& bytes, const std::string& sums) {
        EXPECT_TRUE(write_file(folder / "tsprintportmon.dll", bytes));
        Findings findings;
        check_library({path, utf8_of(folder), sums}, findings);
        return ids_of(findings);
    };
    const std::string bytes = library_bytes();
    const std::string sum(64, '0');
    const auto changed = [&bytes](size_t at, const std::string& by) {
        return std::string(bytes).replace(at, by.size(), by);
    };
    write_file(folder / "KERNEL32.dll", "");
    EXPECT_EQ(findings_of(bytes, sum + "  tsprintportmon.pdb\n"), Ids());
    EXPECT_EQ(findings_of(bytes, sum + "  tsprintportmon.pdb\n" + sum + "  tsprintportmon.dll\n"),
              Ids{"monitor.other-sum"});
    EXPECT_EQ(findings_of(changed(0x348, "\7"), ""), Ids{"monitor.other-version"});
    EXPECT_EQ(findings_of(changed(0x84, "\x4C\1"), ""), Ids{"monitor.not-x64"});
    EXPECT_EQ(findings_of(bytes.substr(0, 0x250), ""), Ids{"monitor.damaged"});
    fs::remove(folder / "KERNEL32.dll");
    EXPECT_EQ(findings_of(bytes, ""), Ids{"monitor.missing-import"});
    fs::remove(folder / "tsprintportmon.dll");
    Findings findings;
    check_library({path, "", ""}, findings);
    EXPECT_EQ(ids_of(findings), Ids{"monitor.no-library"});
    fs::remove_all(folder);
    for (size_t size = 0; size < bytes.size(); size += 3) tsport::doctor::read_library(bytes.substr(0, size));
}

TEST(DoctorOfAServer, WeighsAccessListsAsWindowsDoes) {
    using namespace tsport::doctor;
    const AccessList usual = {false, {{true, 0x1F01FF, "S-1-5-18"}, {true, 0x1200A9, "S-1-5-32-545"}}};
    EXPECT_EQ(rights_of_users(usual, rights_to_change), 0u);
    EXPECT_EQ(rights_of_users(usual, right_to_read), right_to_read);
    EXPECT_EQ(rights_of_system(usual, rights_to_write), rights_to_write);
    // A refusal counts when it comes first; domain users are users; others are not.
    const AccessList refused = {
        false, {{false, 0x2, "S-1-1-0"}, {true, 0x6, "S-1-5-21-1-2-3-513"}, {true, ~0U, "S-1-5-21-1-2-3-1001"}}};
    EXPECT_EQ(rights_of_users(refused, rights_to_change), 0x4u);
    EXPECT_EQ(rights_of_users({true, {}}, rights_to_change), rights_to_change);
    EXPECT_EQ(rights_of_users({}, right_to_see), 0u);
    EXPECT_EQ(rights_of_system({false, {{true, 0x6, "S-1-5-32-544"}, {true, 0x6, "S-1-5-19"}}}, 0x6), 0x6u);
    EXPECT_EQ(rights_of_system({false, {{true, 0x6, "S-1-5-19"}}}, 0x6), 0u);
    EXPECT_EQ(shadowing_paths("C:\\Program Files\\A B\\x.exe"),
              (std::vector<std::string>{"C:\\Program.exe", "C:\\Program Files\\A.exe"}));
}

TEST(DoctorOfEvents, FilesAreReadInEitherEncodingAndOddOnesRefused) {
    const std::string one =
        "<Event><System><Provider Name='Application Error'/><EventID>1000</EventID></System>"
        "<EventData><Data>spoolsv.exe</Data></EventData></Event>";
    std::string why;
    const auto found = [&why](const std::string& xml) {
        std::vector<tsport::doctor::Event> events;
        return tsport::doctor::read_events(xml, events, why) ? events.size() : 0;
    };
    std::string utf16 = "\xFF\xFE";
    for (const char c : "<Events>" + one + "</Events>") utf16 += {c, '\0'};
    EXPECT_EQ(found(utf16), 1u);
    std::string deep = "<Event>";
    for (int i = 0; i < 30'000; ++i) deep += "<a>";
    EXPECT_EQ(found(deep + "</Event>" + one.substr(0, 100) + one), 1u);
    for (const std::string& odd :
         {std::string(), std::string("ElfFile\0\0", 9), deep, std::string("<Event>&#xFFFFFFF;")}) {
        EXPECT_EQ(found(odd), 0u);
        EXPECT_NE(why.find("wevtutil qe"), std::string::npos) << why;
    }
}

// -- The table of findings -------------------------------------------------------------------------------------------

TEST(DoctorsTable, HasWhatTheSourcesFind) {
    const fs::path root = source_path(TEST_FOLDER).parent_path();
    std::string sources;
    for (const auto& file : fs::directory_iterator(root / "tsport" / "doctor")) sources += read_file(file.path());
    std::set<std::string> table;
    std::string areas;
    for (const tsport::doctor::Kind& kind : tsport::doctor::kinds()) {
        EXPECT_LE(kind.degree, tsport::doctor::Degree::to_know) << kind.id;
        table.insert(kind.id);
        areas += (areas.empty() ? "" : "|") + kind.id.substr(0, kind.id.find('.'));
        // Complete, and nothing is lost by them.
        for (const std::string& command : found_in(kind.fix, "`([^`]*)`")) {
            EXPECT_FALSE(std::regex_search(command, std::regex(" delete| /f|net stop|inheritance|HOST"))) << command;
        }
    }
    const Ids found = found_in(sources, "\"((?:" + areas + ")\\.[a-z0-9-]+)\"");
    EXPECT_EQ(std::set<std::string>(found.begin(), found.end()), table);
}

}  // namespace
}  // namespace test
