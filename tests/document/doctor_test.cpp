// tsport doctor: faults of a set-up, planted one at a time, each named once and nothing else; what only a server shows,
// from what it would be read of; and the list of findings in docs/.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <set>

#include "host/setup.h"
#include "testbed/test_printer/tcp_printer.h"
#include "tests/support/files.h"
#include "tsport/doctor/doctor.h"
#include "tsport/doctor/library.h"
#include "tsport/doctor/monitor.h"
#include "tsport/doctor/ports.h"
#include "tsport/doctor/queues.h"
#include "tsport/doctor/rights.h"
#include "tsport/platform.h"
#include "tsport/run.h"
#include "winportmon/contract/names.h"

namespace test {
namespace {

using host::Text;
using tsport::doctor::Findings;
using Ids = std::vector<std::string>;

std::string library_bytes() {
    // The headers of a library for x64 with one section, which holds its imports and its version.
    std::string bytes(0x400, '\0');
    const auto put = [&bytes](size_t at, std::uint32_t number) {
        for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(number >> 8 * i);
    };
    put(0, 0x5A4D);
    put(0x3C, 0x80);
    put(0x80, 0x4550);
    put(0x84, 0x8664 | 1 << 16);  // one section
    put(0x94, 0xF0);              // the optional header's size
    put(0x98, 0x20B);
    put(0x98 + 120, 0x1000);  // imports
    put(0x188 + 12, 0x1000);  // the section: address, size, offset
    put(0x188 + 16, 0x200);
    put(0x188 + 20, 0x200);
    put(0x200 + 12, 0x1100);  // the first import's name
    bytes.replace(0x300, 12, "KERNEL32.dll");
    put(0x340, 0xFEEF04BD);
    put(0x348, 1 << 16);  // 1.0.0.0
    return bytes;
}

Ids ids_of(const Findings& findings) {
    Ids ids;
    for (const Findings::Finding& finding : findings.all()) ids.emplace_back(finding.kind->id);
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

// -- A copied server -------------------------------------------------------------------------------------------------

class Doctor : public testing::Test {
  protected:
    Doctor() { set_up(); }
    ~Doctor() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    // A server where all is well.
    void set_up() {
        std::error_code ignored;
        // Windows removes no read-only file.
        fs::permissions(base_ / "print-monitor.log", fs::perms::owner_write, fs::perm_options::add, ignored);
        fs::remove_all(folder_, ignored);
        for (const char* const name : {"notapprovedjobs", "settings", "forceattr"}) {
            fs::create_directories(base_ / "spool" / name);
        }
        settings_ =
            "# ours\r\nDebug=off\r\nHWCheckPortMonitorRunAsSystem=on\r\nForce.Duplex=yes\r\nLogRotateNumber=5\r\n";
        ports_ = "Office 127.0.0.1 " + std::to_string(printer_.port()) + "\n";
        put("env-version", "EnvVersion=15\n");
        put("ts-print-monitor.exe", library_bytes());
        put("print-monitor.log", "2026-03-01 10:00:00,000 INFO : TSM init complete\n");
    }
    void put(const std::string& name, const std::string& contents) { ASSERT_TRUE(write_file(base_ / name, contents)); }
    void erase_line(const std::string& line) {
        const size_t at = settings_.find(line + "\r\n");
        settings_.erase(at, line.size() + 2);
    }
    static void make_read_only(const fs::path& path) {
        fs::permissions(path, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                        fs::perm_options::remove);
    }
    void log(const std::string& lines) { put("print-monitor.log", read_file(base_ / "print-monitor.log") + lines); }

    tsport::Answer look(std::vector<std::string> more = {}) {
        put("print-provider.conf", settings_);
        if (no_settings_) fs::remove(base_ / "print-provider.conf");
        EXPECT_TRUE(write_file(folder_ / "ports.txt", ports_));
        more.insert(more.end(),
                    {"doctor", "--base", utf8_of(base_), "--store", utf8_of(folder_ / "ports.txt"), "--json"});
        std::rotate(more.begin(), more.end() - 6, more.end());
        return tsport::run(more);
    }

    const fs::path folder_ = path_of(host::make_temporary_folder());
    const fs::path base_ = folder_ / "win";
    std::string settings_;
    std::string ports_;
    bool no_settings_ = false;
    test_printer::TcpPrinter printer_;
    test_printer::TcpPrinter closed_;
};

TEST_F(Doctor, NamesEachPlantedFaultOnceAndNothingElse) {
    closed_.refuse();
    const std::string host_and_number = "127.0.0.1 " + std::to_string(printer_.port()) + "\n";
    struct Fault {
        const char* id;
        std::function<void()> plant;
    };
    const std::string long_value(2000, 'x');
    const std::string mark = "\xEF\xBB\xBF";
    const std::string utf16("\xFF\xFE=\0\r\0\n", 8);
    const Fault faults[] = {
        {"conf.missing", [&] { no_settings_ = true; }},
        {"conf.utf8-mark", [&] { settings_ = mark + "LogRotateNumber=3\n" + settings_; }},
        {"conf.utf16", [&] { settings_ = utf16; }},
        {"conf.not-utf8", [&] { settings_ += "ServerName=M\xFCller\n"; }},
        {"conf.nul-byte", [&] { settings_ += std::string("TLS=on\0off\n", 11); }},
        {"conf.ctrl-z", [&] { settings_ += "\x1AParsetimeout\n"; }},
        {"conf.lone-cr", [&] { settings_ += "ServerName=a\rDebug=on\n"; }},
        {"conf.long-line", [&] { settings_ += "IgnorePrinters=" + std::string(9000, 'x') + "\n"; }},
        {"conf.no-equals", [&] { settings_ += "ParseTimeout 5\n"; }},
        {"conf.unknown-name", [&] { settings_ += "ParseTimeuot=5\n"; }},
        {"conf.blank-beside-name", [&] { settings_ += "ParseTimeout =5\n"; }},
        {"conf.blank-beside-name", [&] { settings_ += "\tParseTimeout=5\n"; }},
        {"conf.bad-number", [&] { settings_ += "ParseTimeout=-5\nParseTimeout=5\n"; }},
        {"conf.bad-number", [&] { settings_ += "ParseTimeout=five\n"; }},
        {"conf.bad-switch", [&] { settings_ += "NotApprovedFileChecking=1\n"; }},
        {"conf.bad-word", [&] { settings_ += "ErrorPollMethod=snpm\n"; }},
        {"conf.bad-word", [&] { settings_ += "TLSMinProtocolVersion=SSLv3\n"; }},
        {"conf.cut-value", [&] { settings_ += "ServerName=" + long_value + "\n"; }},
        {"conf.overridden", [&] { settings_ += "loGROTATEnumber=6\nParseTimeout=5\nParseTimeout=5\n"; }},
        {"env.missing", [&] { fs::remove(base_ / "env-version"); }},
        {"env.no-version", [&] { put("env-version", "EnvVersion=new\n"); }},
        {"env.too-old", [&] { put("env-version", "EnvVersion=13\n"), settings_ += "ServerlessPrintingMode=on\n"; }},
        {"helper.missing", [&] { fs::remove(base_ / "ts-print-monitor.exe"); }},
        {"helper.no-program", [&] { put("ts-print-monitor.exe", ""); }},
        {"dirs.no-spool", [&] { fs::remove_all(base_ / "spool"); }},
        {"dirs.no-notapproved", [&] { fs::remove(base_ / "spool" / "notapprovedjobs"); }},
        {"dirs.no-forceattr", [&] { fs::remove(base_ / "spool" / "forceattr"), put("spool/forceattr", "x"); }},
        {"dirs.incomplete-path", [&] { settings_ += "SpoolDir=spool\n"; }},
        {"log.no-rotation", [&] { settings_ += "LogRotateNumber=1\n", erase_line("LogRotateNumber=5"); }},
        {"log.rotation-blocked", [&] { fs::create_directory(base_ / "print-monitor.log.1"); }},
        {"log.not-writable", [&] { make_read_only(base_ / "print-monitor.log"); }},
        {"log.errors",
         [&] {
             log("2026-02-27 23:00:00,000 ERROR: of another day\n"
                 "2026-03-01 11:00:00,000 ERROR: TSM Start Doc Port failed to connect to printer address: 10.0.0.1\n"
                 "2026-03-01 11:00:01,000 ERROR: tsmon.cpp:77 - TSM Start Doc Port failed to connect to printer "
                 "address: 10.0.0.2 [1200]\n2026-03-01 11:00:01,000 DEBUG: x ERROR: y\n2026-99-01 ERROR: z\n");
         }},
        {"ports.bad-line", [&] { ports_ += "Second\n"; }},
        {"ports.refused", [&] { ports_ += "Closed 127.0.0.1 " + std::to_string(closed_.port()) + "\n"; }},
        {"ports.same-printer", [&] { ports_ += "Second " + host_and_number + "Third " + host_and_number; }},
        {"ports.odd-name", [&] { ports_ = "\"Office, 2\" " + host_and_number; }},
        {"ports.odd-address", [&] { ports_ = "Office http://printer 9100\n"; }},
    };
    EXPECT_EQ(look().status, tsport::done) << look().out;
    for (const Fault& fault : faults) {
        set_up();
        fault.plant();
        const tsport::Answer answer = look();
        EXPECT_EQ(ids_in(answer.out), Ids{fault.id}) << answer.out << answer.err;
        EXPECT_EQ(answer.status, tsport::not_there) << fault.id;
        no_settings_ = false;
    }
}

TEST_F(Doctor, ShowsWhatWasAskedFor) {
    settings_ += "ParseTimeuot=5\n<b>\x1B[31m=\xFF\n";
    fs::remove(base_ / "ts-print-monitor.exe");
    EXPECT_EQ(ids_in(look({"--only", "helper,conf.missing"}).out), Ids{"helper.missing"});
    EXPECT_EQ(ids_in(look({"--skip", "conf", "--skip=helper.missing"}).out), Ids());
    EXPECT_EQ(look({"--only", "queues"}).status, tsport::refused);
    EXPECT_EQ(look({"--only", "conf.unknwon-name"}).status, tsport::bad_usage);
    EXPECT_EQ(tsport::run({"doctor", "--base", utf8_of(folder_ / "nothing")}).status, tsport::refused);

    const std::string text = tsport::run({"doctor", "--base", utf8_of(base_)}).out;
    EXPECT_NE(text.find("the nearest is ParseTimeout\n"), std::string::npos) << text;
    EXPECT_NE(text.find("write ParseTimeout=5 as line 6 of "), std::string::npos) << text;
    EXPECT_EQ(text.find('\x1B'), std::string::npos) << text;
    EXPECT_NE(text.find("\"<b>\\u001b[31m\" is no setting"), std::string::npos) << text;
}

// -- What only a server shows ----------------------------------------------------------------------------------------

// A part of the registry that is gone with the test.
class Hive {
  public:
    Hive() { RegCreateKeyExW(tsport::private_hive(), root_, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_, nullptr); }
    ~Hive() {
        for (; !made_.empty(); made_.pop_back()) RegDeleteKeyW(key_, made_.back().c_str());
        RegCloseKey(key_);
        RegDeleteKeyW(tsport::private_hive(), root_);
    }
    Hive(const Hive&) = delete;
    Hive& operator=(const Hive&) = delete;

    HKEY get() const { return key_; }
    void set(const Text& path, LPCWSTR name, DWORD type, const void* data, size_t size) {
        for (size_t end = 0; end < path.size();) {
            end = std::min(path.find(W('\\'), end + 1), path.size());
            made_.push_back(path.substr(0, end));
            HKEY key = nullptr;
            ASSERT_EQ(
                RegCreateKeyExW(key_, made_.back().c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
                ERROR_SUCCESS);
            if (end == path.size()) {
                RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
            }
            RegCloseKey(key);
        }
    }
    void set(const Text& path, LPCWSTR name, const Text& text) {
        set(path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
    }
    void set(const Text& path, LPCWSTR name, DWORD number) { set(path, name, REG_DWORD, &number, sizeof number); }

  private:
    LPCWSTR const root_ = W("tsport-doctor-test");
    HKEY key_ = nullptr;
    std::vector<Text> made_;
};

TEST(DoctorOfAServer, ReadsTheRegistryAsTheMonitorDoes) {
    Hive hive;
    Findings nothing;
    EXPECT_FALSE(check_registration(hive.get(), nothing));
    EXPECT_EQ(tsport::doctor::find_base(hive.get(), nothing), "");
    EXPECT_EQ(ids_of(nothing), (Ids{"monitor.not-registered", "provider.not-registered"}));

    const Text key = tsport::doctor::monitor_key();
    hive.set(key, W("Driver"), W("other.dll"));
    hive.set(W("SOFTWARE\\Wow6432Node\\ts-print-provider"), W("InstallPath"), W("C:\\nowhere"));
    hive.set(W("SOFTWARE\\Wow6432Node\\Tessaron"), W("InstallPath"), W("C:\\elsewhere"));
    hive.set(W("SOFTWARE\\Policies\\Microsoft\\Windows NT\\Printers\\WPP"), W("WindowsProtectedPrintMode"), 1);
    const Text ports = key + W("\\Ports\\");
    hive.set(ports + W("good"), W("HostName"), W("printer"));
    hive.set(ports + W("good"), W("PortNumber"), 9100);
    hive.set(ports + W("no number"), W("HostName"), W("printer"));
    hive.set(ports + W("text"), W("HostName"), W("printer"));
    hive.set(ports + W("text"), W("PortNumber"), W("9100"));
    hive.set(ports + W("too long"), W("HostName"), Text(200, W('x')));
    const Text long_name = ports + Text(65, W('n'));
    hive.set(long_name, W("HostName"), W("printer"));
    hive.set(long_name, W("PortNumber"), 9100);
    Findings findings;
    EXPECT_FALSE(check_registration(hive.get(), findings));
    check_protected_print(hive.get(), findings);
    EXPECT_EQ(tsport::doctor::find_base(hive.get(), findings), "");
    const std::vector<tsport::Port> read = tsport::doctor::read_registry_ports(hive.get(), key, findings);
    EXPECT_EQ(ids_of(findings),
              (Ids{"monitor.other-driver", "monitor.protected-print", "provider.two-places", "provider.no-base",
                   "ports.not-loaded", "ports.not-loaded", "ports.not-loaded", "ports.not-loaded"}));
    ASSERT_EQ(read.size(), 1u);
    EXPECT_EQ(host::to_utf8(read[0].address), "printer");
    EXPECT_EQ(read[0].number, 9100u);
}

TEST(DoctorOfAServer, FindsQueuesAndPortsThatHaveLostEachOther) {
    const std::vector<tsport::Queue> queues = {{W("A"), {W("one"), W("LPT1:")}}, {W("B"), {W("gone")}}};
    const std::vector<tsport::SpoolerPort> ports = {{W("ONE"), contract::kMonitorName},
                                                    {W("two"), contract::kMonitorName},
                                                    {W("LPT1:"), W("Local Port")},
                                                    {W("LPT2:"), W("Local Port")}};
    Findings findings;
    check_queues(queues, ports, findings);
    EXPECT_EQ(ids_of(findings), (Ids{"queues.port-gone", "queues.no-queue"}));
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
    write_file(folder / "KERNEL32.dll", "");
    EXPECT_EQ(findings_of(bytes, ""), Ids());
    EXPECT_EQ(findings_of(bytes, sum + "  tsprintportmon.pdb\n"), Ids());
    EXPECT_EQ(findings_of(bytes, sum + "  tsprintportmon.pdb\n" + sum + "  tsprintportmon.dll\n"),
              Ids{"monitor.other-sum"});
    std::string other = bytes;
    other[0x348] = 7;
    EXPECT_EQ(findings_of(other, ""), Ids{"monitor.other-version"});
    other = bytes;
    other[0x84] = 0x4C;
    other[0x85] = 1;
    EXPECT_EQ(findings_of(other, ""), Ids{"monitor.not-x64"});
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
    EXPECT_EQ(shadowing_paths("C:\\Program Files\\A B\\x.exe"),
              (std::vector<std::string>{"C:\\Program.exe", "C:\\Program Files\\A.exe"}));
}

// -- The list of findings --------------------------------------------------------------------------------------------

TEST(DoctorsList, IsTheSameInTheSourcesAndInTheDocuments) {
    fs::path root = path_of(TEST_FOLDER).parent_path();
    if (!fs::exists(root)) root = path_of(std::string(TEST_FOLDER).substr(2)).parent_path();
    std::string sources;
    for (const auto& file : fs::directory_iterator(root / "tsport" / "doctor")) {
        if (file.path().extension() == ".cpp" && file.path().stem() != "kinds") sources += read_file(file.path());
    }
    std::set<std::string> table;
    std::string areas;
    for (const tsport::doctor::Kind& kind : tsport::doctor::kinds()) {
        const std::string id = kind.id;
        table.insert(id);
        areas += (areas.empty() ? "" : "|") + id.substr(0, id.find('.'));
    }
    const auto set_of = [](const Ids& ids) { return std::set<std::string>(ids.begin(), ids.end()); };
    EXPECT_EQ(set_of(found_in(sources, "\"((?:" + areas + ")\\.[a-z0-9-]+)\"")), table);
    EXPECT_EQ(set_of(found_in(read_file(root / "docs" / "DOCTOR.md"),
                              "\n\\| `([^`]+)` \\| [^|\n]+ \\| [^|\n]+ \\| [^|\n]+ \\|(?=\n)")),
              table);
}

}  // namespace
}  // namespace test
