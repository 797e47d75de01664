// The record files shared with the Print Provider.
#include "common/serialize.h"
#include "common/serialize_hpc_job.h"
#include "common/serialize_job.h"
#include "common/serialize_msf.h"
#include "common/serialize_settings.h"
#include "common/util.h"
#include "tests/unit/log_fixture.h"

namespace {

class Records : public LogTest {
  protected:
    SerializeStore* open(const std::string& bytes) {
        write_bytes(file_, bytes);
        SerializeStore* store = nullptr;
        EXPECT_EQ(serialize_open(&store, file_.c_str()), 1);
        return store;
    }
    const std::string file_ = path("record");
};

// Reads the field "k" as its kind says; its value as text, "kept" when it was left alone.
std::pair<int, std::string> unpack(SerializeStore* store, char kind) {
    char text[5] = "kept";
    int32_t number = -9;
    double real = -9;
    int result = 0;
    if (kind == 's') return {result = serialize_unpack_str(store, "k", text, sizeof text), text};
    if (kind == 'i') result = serialize_unpack_int(store, "k", &number);
    if (kind == 'b') result = serialize_unpack_boolean(store, "k", &number);
    if (kind == 'd') result = serialize_unpack_double(store, "k", &real);
    if (kind == 'd' && real != -9.0) return {result, std::to_string(real)};
    return {result, number == -9 ? "kept" : std::to_string(number)};
}

TEST_F(Records, ReadOneField) {
    const std::string end = "Unable to read line from serialize file. errno=0";
    const std::string parse = "Could not parse ";
    const std::string key = "Expected key, \"k\", but got ";
    const std::string boolean = "Boolean key, \"k\", has non-boolean value: ";
    const std::string equals = "Unable to find \"=\" in serialize file for line: ";
    // clang-format off
    const std::tuple<char, std::string, int, std::string, std::string> cases[] = {
        {'i', "# TS Serialize Data\r\nk=5\r\n", 1, "5", ""},
        {'i', "k=-7x", 1, "-7", ""},
        {'i', "\n \t \r\n  # k=1\n#END\n\t k= 12", 1, "12", ""},
        {'i', "k=-99999999999", 1, "-2147483648", ""},
        {'i', "k=none", 1, "0", parse + "an integer from serialize file, line: k=none"},
        {'d', "k=-1.5e1", 1, "-15.000000", ""},
        {'d', "k=", 1, "0.000000", parse + "a double from serialize file, line: k="},
        {'b', "k=TRUE", 1, "1", ""},
        {'b', "k=FALSE\r\n", 1, "0", ""},
        {'b', "k=true", 0, "kept", boolean + "\"true\""},
        {'b', "k=TRUE ", 0, "kept", boolean + "\"TRUE \""},
        {'s', "k=abcd", 1, "abcd", ""},
        {'s', "k= a= ", 1, " a= ", ""},
        {'s', "k=", 1, "", ""},
        {'s', "k=abcde", 0, "kept", "Value string is too long, \"abcde\", from serialize file"},
        {'i', "", 0, "kept", end},
        {'s', "# TS Serialize Data\n#END\n", 0, "kept", end},
        {'d', "k: 5\n", 0, "kept", equals + "k: 5"},
        {'i', "K=1\nk=2\n", 0, "kept", key + "\"K\""},
        {'b', "k =TRUE\n", 0, "kept", key + "\"k \""},
    };
    // clang-format on
    for (const auto& [kind, bytes, result, value, error] : cases) {
        SerializeStore* const store = open(bytes);
        EXPECT_EQ(unpack(store, kind), std::pair(result, value)) << bytes;
        EXPECT_EQ(logged(), error.empty() ? Strings{} : Strings{"ERROR: " + error}) << bytes;
        serialize_close(store);
        logged();
    }
    SerializeStore* const store = open("k=7;" + std::string(2000, 'x') + "\nk=8\n#END");
    EXPECT_EQ(unpack(store, 'i').second, "7") << "the line is read in pieces";
    EXPECT_EQ(unpack(store, 'i').first, 0);
    EXPECT_EQ(logged(), Strings{"ERROR: " + equals + std::string(2004 - 1023, 'x')});
    EXPECT_EQ(serialize_close(store), 1);
}

TEST_F(Records, EndWithATerminator) {
    const std::pair<std::string, int> cases[] = {
        {"#END", 1},
        {"more=1\nno key\n\n" + std::string(3000, 'x') + "\r\n#END\r\nrest", 1},
        {"", 0},
        {" #END\n#END \n#end\nk=#END\n", 0},
    };
    for (const auto& [bytes, result] : cases) {
        EXPECT_EQ(serialize_close(open(bytes)), result) << bytes;
        const Strings missing = {"ERROR: Unable to read line from serialize file to find terminator"};
        EXPECT_EQ(logged(), result ? Strings{} : missing);
    }
    SerializeStore* store = nullptr;
    ASSERT_EQ(serialize_create(&store, file_.c_str()), 1);
    EXPECT_EQ(serialize_close(store), 1);
    EXPECT_EQ(read_bytes(file_), "# TS Serialize Data\r\n#END\r\n");
    session_context.debug_logging = 1;
    EXPECT_EQ(serialize_create(&store, path("none\\made").c_str()), 0);
    EXPECT_EQ(store, nullptr);
    EXPECT_EQ(serialize_open(&store, path("none").c_str()), 0);
    EXPECT_EQ(store, nullptr);
    const Strings lines = logged();
    EXPECT_TRUE(lines.at(0).starts_with("ERROR: Unable to create serialize file: \"" + path("none\\made") + "\" - "));
    EXPECT_TRUE(lines.at(1).starts_with("DEBUG: Unable to open serialize file: \"" + path("none") + "\" - "));
}

TEST_F(Records, HaveSafeNames) {
    const auto names = [](const std::string& printer) {
        char name[4][255];
        HpcJobRecord hpc = {"", 42, 0};
        util_strncpy(hpc.printer_name, printer.c_str(), sizeof hpc.printer_name);
        serialize_settings_filename(name[0], 255, printer.c_str());
        serialize_msf_filename(name[1], 255, printer.c_str(), "42");
        serialize_job_filename(name[2], 255, printer.c_str(), "42");
        serialize_hpc_job_filename(name[3], 255, &hpc);
        return Strings(name, name + 4);
    };
    const std::string job = "job-__s_\xC3\xA4_2-42.dat";
    EXPECT_EQ(names("\\\\s/\xC3\xA4:2"), (Strings{"__s_\xC3\xA4_2.dat", "msf-__s_\xC3\xA4_2-42.dat", job, job}));
    EXPECT_EQ(names(std::string(243, 'p'))[1], "msf-" + std::string(243, 'p') + "-42.dat");
    EXPECT_EQ(logged(), Strings{});
    for (const size_t length : {244u, 250u}) {  // too long for all but the settings
        names(std::string(length, 'p'));
        EXPECT_EQ(logged().size(), 3u) << length;
    }
    const std::string cut(250, 'p');
    EXPECT_EQ(names(cut + "ppppp"), (Strings{cut + "pppp", "msf-" + cut, "job-" + cut, "job-" + cut}));
    EXPECT_EQ(logged(), (Strings{"ERROR: Serialize settings filename has been truncated: " + cut + "pppp",
                                 "ERROR: Serialize msf filename has been truncated: msf-" + cut,
                                 "ERROR: Serialize job filename has been truncated: job-" + cut,
                                 "ERROR: HPC serialize job filename is truncated: job-" + cut}));
}

TEST_F(Records, ReadWhatAVersionOfAPrintersSettingsHas) {
    const std::string one = "enable_color_detection=Yes\nfailure_mode=HOLD\n";
    const std::string two = one + "hardware_check_mode=SNMP\n";
    const std::string three = two + "is_virtual=Y\n";
    const std::string four = three + "queue-confidentiality-mode=HIDE_NAME\n";
    const std::string none =
        "enable_color_detection=N\nfailure_mode=PRINT_NEW_NO_REPLAY\nhardware_check_mode=NONE\nis_virtual=N\n"
        "queue-confidentiality-mode=HIDE_NONE\n";
    const std::string old = " found (latest version is 5)";
    const std::tuple<int, std::string, std::vector<int>, std::string> cases[] = {
        {0, one, {1, 2, 2, 0, 0}, "0" + old},
        {2, two, {1, 2, 0, 0, 0}, "2" + old},
        {3, three, {1, 2, 0, 0, 1}, "3" + old},
        {4, four, {1, 2, 0, 1, 1}, "4" + old},
        {5, four + "new=1\n", {1, 2, 0, 1, 1}, ""},
        {7, four, {1, 2, 0, 1, 1}, "7 found. You are using an old version 5"},
        {5, none, {0, 0, 2, 0, 0}, ""},
        // A key that is not the next one.
        {1, "enable_colour=Y\nfailure_mode=HOLD\n", {}, ""},
        {1, "enable_color_detection=Y\nmode=HOLD\n", {}, ""},
        {3, two + "virtual=Y\n", {}, ""},
    };
    session_context.debug_logging = 1;
    for (const auto& [version, fields, expected, note] : cases) {
        write_bytes(path("P_1.dat"),
                    "# TS Serialize Data\nversion=" + std::to_string(version) + "\n" + fields + "#END\n");
        PrinterSettings s;
        memset(&s, 0x55, sizeof s);
        EXPECT_EQ(serialize_settings_readin(base().c_str(), "P:1", &s), expected.empty() ? 0 : 1) << fields;
        const Strings lines = logged();
        if (expected.empty()) continue;
        EXPECT_EQ(s.version, version);
        EXPECT_EQ((std::vector<int>{s.enable_color_detection, s.failure_mode, s.hardware_check_mode,
                                    s.queue_confidentiality_mode, s.is_virtual}),
                  expected);
        std::string notes;
        for (const std::string& line : lines) notes += line.find("NOTE") != std::string::npos ? line : "";
        EXPECT_EQ(notes, note.empty() ? "" : "DEBUG: NOTE: Printer settings file P_1.dat version " + note);
    }
}

TEST_F(Records, WriteTheProgressOfAJob) {
    const HpcJobRecord record = {"P1", 7, 3};
    EXPECT_EQ(serialize_hpc_job_write(path("hpc").c_str(), &record), 1) << "the folder is made";
    EXPECT_EQ(read_bytes(path("hpc\\job-P1-7.dat")), "# TS Serialize Data\r\nversion=1\r\nwrite_port=3\r\n#END\r\n");
    EXPECT_EQ(serialize_hpc_job_write(path("a\\b").c_str(), &record), 0);
}

}  // namespace
