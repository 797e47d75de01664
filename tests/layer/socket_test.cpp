// What the product relies on in Windows Sockets.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/listener.h"

namespace {

using WideString = std::basic_string<WCHAR>;

WideString decimal(unsigned value) {
    const std::string digits = std::to_string(value);
    return {digits.begin(), digits.end()};
}

constexpr DWORD long_enough = 20000;  // for what comes at once unless it is broken

class SocketTest : public testing::Test {
  protected:
    SocketTest() { EXPECT_EQ(WSAStartup(0x0202, &data_), 0); }
    ~SocketTest() override {
        if (socket_ != INVALID_SOCKET) closesocket(socket_);
        WSACleanup();
    }

    // A new socket connected to the port of this machine: 0 or the error.
    int connect_to(unsigned short port) {
        ADDRINFOW hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_protocol = IPPROTO_TCP;
        ADDRINFOW* found = nullptr;
        const int error = GetAddrInfoW(W("127.0.0.1"), decimal(port).c_str(), &hints, &found);
        if (error != 0) return error;
        socket_ = WSASocketW(found->ai_family, found->ai_socktype, found->ai_protocol, nullptr, 0, 0);
        const int result = connect(socket_, found->ai_addr, static_cast<int>(found->ai_addrlen));
        FreeAddrInfoW(found);
        return result == 0 ? 0 : WSAGetLastError();
    }

    test::Peer connected_peer() {
        EXPECT_EQ(connect_to(listener_.port()), 0);
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
    socket_ = WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, 0);
    EXPECT_EQ(shutdown(socket_, SD_SEND), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAENOTCONN);
    EXPECT_EQ(closesocket(socket_), 0);

    test::Peer stays = connected_peer();
    EXPECT_EQ(shutdown(socket_, SD_SEND), 0);
    EXPECT_EQ(send(socket_, "a", 1, 0), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAESHUTDOWN);
    EXPECT_EQ(closesocket(socket_), 0);

    connected_peer().reset();
    const int error = fill();
    EXPECT_TRUE(error == WSAECONNRESET || error == WSAECONNABORTED) << error;
    fill();  // nor does a later one end the process
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
        test::Peer peer = connected_peer();
        WSAEVENT event = WSACreateEvent();
        EXPECT_EQ(WSAWaitForMultipleEvents(1, &event, FALSE, 0, FALSE), WSA_WAIT_TIMEOUT);
        EXPECT_EQ(WSAEventSelect(socket_, event, FD_CLOSE), 0);
        EXPECT_EQ(shutdown(socket_, SD_SEND), 0);
        EXPECT_EQ(peer.read(1), "");
        c.end(peer);
        EXPECT_EQ(WSAWaitForMultipleEvents(1, &event, FALSE, c.timeout, FALSE), c.expected);
        EXPECT_TRUE(WSACloseEvent(event));
        EXPECT_EQ(closesocket(socket_), 0);
        socket_ = INVALID_SOCKET;
    }
}

}  // namespace
