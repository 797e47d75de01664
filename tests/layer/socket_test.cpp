// What the product relies on in Windows Sockets.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/listener.h"

namespace {

constexpr DWORD long_enough = 20000;  // for what comes at once unless it is broken

class SocketTest : public testing::Test {
  protected:
    SocketTest() { EXPECT_EQ(WSAStartup(0x0202, &data_), 0); }
    ~SocketTest() override { WSACleanup(); }

    // A new socket, connected to the peer that is returned.
    test::Peer connect_socket() {
        const std::string number = std::to_string(listener_.port());
        ADDRINFOW hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_protocol = IPPROTO_TCP;
        ADDRINFOW* found = nullptr;
        const std::basic_string<WCHAR> service(number.begin(), number.end());
        EXPECT_EQ(GetAddrInfoW(W("127.0.0.1"), service.c_str(), &hints, &found), 0);
        socket_ = WSASocketW(found->ai_family, found->ai_socktype, found->ai_protocol, nullptr, 0, 0);
        EXPECT_EQ(connect(socket_, found->ai_addr, static_cast<int>(found->ai_addrlen)), 0);
        FreeAddrInfoW(found);
        return listener_.accept();
    }

    // Sends until the send fails, and returns its error.
    int fill() {
        const std::string block(65536, 'x');
        while (send(socket_, block.data(), static_cast<int>(block.size()), 0) > 0) {
        }
        return WSAGetLastError();
    }

    WSADATA data_{};
    test::Listener listener_;
    SOCKET socket_ = INVALID_SOCKET;
};

TEST_F(SocketTest, SendReportsWhyItCannot) {
    test::Peer stays = connect_socket();
    EXPECT_EQ(shutdown(socket_, SD_SEND), 0);
    EXPECT_EQ(fill(), WSAESHUTDOWN);
    EXPECT_EQ(closesocket(socket_), 0);

    connect_socket().reset();
    const int error = fill();
    EXPECT_TRUE(error == WSAECONNRESET || error == WSAECONNABORTED) << error;
    fill();  // nor does a later one end the process
    EXPECT_EQ(closesocket(socket_), 0);
}

TEST_F(SocketTest, TheCloseEventIsSetWhenThePeerEnds) {
    const struct {
        const char* course;
        void (*end)(test::Peer& peer);
        DWORD timeout;
        DWORD expected;
    } cases[] = {
        {"peer closes", [](test::Peer& peer) { peer.close(); }, long_enough, WSA_WAIT_EVENT_0},
        {"peer resets", [](test::Peer& peer) { peer.reset(); }, long_enough, WSA_WAIT_EVENT_0},
        {"peer stays", [](test::Peer&) {}, 30, WSA_WAIT_TIMEOUT},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.course);
        test::Peer peer = connect_socket();
        WSAEVENT event = WSACreateEvent();
        EXPECT_EQ(WSAEventSelect(socket_, event, FD_CLOSE), 0);
        EXPECT_EQ(shutdown(socket_, SD_SEND), 0);
        EXPECT_EQ(peer.read(1), "");
        c.end(peer);
        EXPECT_EQ(WSAWaitForMultipleEvents(1, &event, FALSE, c.timeout, FALSE), c.expected);
        EXPECT_TRUE(WSACloseEvent(event));
        EXPECT_EQ(closesocket(socket_), 0);
    }
}

}  // namespace
