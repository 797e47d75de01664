// Bytes at the printer: those of the document, whatever its size and the size of the writes.
#include "tests/support/print_server.h"

namespace test {
namespace {

class Delivery : public PrintServer {};

TEST_F(Delivery, EverySizeArrivesByteForByte) {
    start({});
    const std::pair<size_t, DWORD> cases[] = {
        {0, 4096},    {1, 1},         {1000, 1},       {4095, 4096},     {4096, 4096},
        {4097, 4096}, {65536, 65536}, {200000, 65536}, {3000001, 65536}, {(5 << 20) + 3, 1 << 20},
    };
    size_t connection = 0;
    for (const auto& [size, write_size] : cases) {
        const std::string data = pattern(size);
        const host::Outcome outcome = print(W("Office"), data, write_size);
        EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
        EXPECT_TRUE(outcome.identity_kept);
        EXPECT_EQ(outcome.job.commands, std::vector<DWORD>{JOB_CONTROL_SENT_TO_PRINTER});
        ASSERT_TRUE(office->wait_for_ends(connection + 1));
        const peer::Connection received = office->connection(connection++);
        EXPECT_TRUE(received.data == data) << size;
        EXPECT_EQ(received.end, peer::End::finished);
    }
    EXPECT_EQ(office->connections(), connection);
}

// A large document goes through without being held: neither the monitor nor anybody else keeps it.
TEST_F(Delivery, MemoryDoesNotGrowWithTheDocument) {
    constexpr std::uint64_t kSmall = 32 << 20;  // for what grows once, of a sanitizer say
    constexpr std::uint64_t kLarge = 256 << 20;
    configure({});
    peer::TcpPrinter& printer = add_printer(W("Office"));
    peer::Behaviour forgetful;
    forgetful.keep_bytes = 0;
    printer.behave(forgetful);
    load();

    const std::string block = pattern(1 << 20);
    const auto repeated = [&block](std::uint64_t size) {
        host::Source source;
        source.size = size;
        source.rewind = [] { return true; };
        source.read = [&block](char* buffer, size_t count) { return block.copy(buffer, count); };
        return source;
    };
    EXPECT_EQ(monitor.print_document(document(W("Office"), repeated(kSmall))).result, host::Result::printed);
    const size_t before = peak_memory();
    EXPECT_EQ(monitor.print_document(document(W("Office"), repeated(kLarge))).result, host::Result::printed);
    EXPECT_LT(peak_memory() - before, size_t{4} << 20);
    ASSERT_TRUE(printer.wait_for_ends(2));
    EXPECT_EQ(printer.connection(1).bytes, kLarge);
}

// The spooler decides what it makes of a document that could not be started; the log says it once at error level.
TEST_F(Delivery, AnUnreachablePrinterIsReportedOnceAJob) {
    start({});
    office->refuse();
    for (int attempt = 0; attempt < 3; ++attempt) EXPECT_EQ(print_job(17, "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM Start Doc Port failed to connect to printer address: 127.0.0.1", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: Failed to connect"), 0) << "details are for the debug log";

    office->listen();
    EXPECT_EQ(print_job(17, "page").result, host::Result::printed);
}

TEST_F(Delivery, WithDebugLoggingAFailedConnectIsTold) {
    ASSERT_TRUE(host::store_port(W("Far"), W("no-such-host.invalid"), 9100));
    ASSERT_TRUE(host::store_port(W("Odd"), W("127.0.0.1"), 70000));
    spooler_sim::add_printer(W("Far"));
    spooler_sim::add_printer(W("Odd"));
    start();
    office->refuse();

    EXPECT_EQ(print(W("Office"), "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM: Failed to connect to printer: 127.0.0.1 - ", "ERROR"), 1);
    EXPECT_EQ(logged("(Error: 10061)"), 1);
    const unsigned port = office->port();
    char bytes[64];
    snprintf(bytes, sizeof bytes, "TSM: addr = 0x%x 0x%x 127 0 0 1", port >> 8, port & 0xFF);
    EXPECT_EQ(logged(bytes, "ERROR"), 1) << bytes;
    EXPECT_EQ(logged("TSM: unable to connect to printer by tcp", "ERROR"), 1);

    EXPECT_EQ(print(W("Far"), "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM: Error looking up printer address: no-such-host.invalid", "ERROR"), 1);
    EXPECT_EQ(print(W("Odd"), "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM: Error looking up printer address: 127.0.0.1", "ERROR"), 1);
}

}  // namespace
}  // namespace test
