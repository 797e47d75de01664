// A send that finds no room. The monitor's own sockets wait for it in the system; one that does not shows what follows.
#include <thread>

#include "tests/support/listener.h"
#include "tests/support/platform.h"
#include "tests/unit/log_fixture.h"
#include "winportmon/tsmon/util_connection.h"

namespace {

class SendTest : public LogTest {
  protected:
    SendTest() {
        WSADATA data{};
        WSAStartup(0x0202, &data);
        socket_ = WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = static_cast<unsigned short>(listener_.port() << 8 | listener_.port() >> 8);
        address.sin_addr.s_addr = 0x0100007F;
        EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        event_ = WSACreateEvent();
        EXPECT_EQ(WSAEventSelect(socket_, event_, FD_CLOSE), 0);  // from here on it does not block
        log_open();
    }
    ~SendTest() override {
        WSACloseEvent(event_);
        closesocket(socket_);
        WSACleanup();
    }
    bool send_block() { return tsmon::SendToSocket(socket_, block_.data(), static_cast<DWORD>(block_.size()), &sent_); }

    test::Listener listener_;
    SOCKET socket_ = INVALID_SOCKET;
    WSAEVENT event_ = nullptr;
    const std::string block_ = std::string(1 << 20, 'x');
    DWORD sent_ = 0;
};

TEST_F(SendTest, WaitsForRoomTwentySecondsAndSendsOnceMore) {
    test::Peer peer = listener_.accept();
    size_t filled = 0;
    {
        const test::FastClock clock(1000);
        const DWORD begin = GetTickCount();
        while (send_block()) filled += sent_;
        EXPECT_GE(GetTickCount() - begin, 20000u);
    }
    EXPECT_EQ(sent_, 0u);
    EXPECT_EQ(logged(), Strings{"ERROR: TSM: timeout on socket for send"});

    std::thread reader([&] { peer.read(filled); });
    EXPECT_TRUE(send_block());
    EXPECT_GT(sent_, 0u);
    reader.join();
    EXPECT_EQ(logged(), Strings{});
}

}  // namespace
