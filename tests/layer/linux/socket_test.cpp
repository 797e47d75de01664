// What only the layer's sockets have: hosts set by a test, the fast clock, fault points.
#include "winapi/winapi.h"
// The front door comes first, as in the product.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/support/listener.h"
#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"

namespace {

using winapi::fault::Mode;

class LinuxSocketTest : public testing::Test {
  protected:
    LinuxSocketTest() : handles_(winapi::open_handles()) {
        WSADATA data{};
        WSAStartup(0x0202, &data);
        winapi::allow_dns(false);
    }
    ~LinuxSocketTest() override {
        winapi::fault::disarm();
        winapi::allow_dns(true);
        winapi::set_clock_speed(1);
        WSACleanup();
        EXPECT_EQ(handles_, winapi::open_handles()) << winapi::describe_open_handles();
    }

    static SOCKET connected(unsigned short port) {
        const SOCKET socket = WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(0, connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address));
        return socket;
    }

    // The addresses that a name resolves to, or the error in brackets.
    static std::string lookup(LPCWSTR node, LPCWSTR service, int family = AF_UNSPEC) {
        ADDRINFOW hints{};
        hints.ai_family = family;
        hints.ai_socktype = SOCK_STREAM;
        ADDRINFOW* found = nullptr;
        const int error = GetAddrInfoW(node, service, &hints, &found);
        if (error != 0) {
            EXPECT_EQ(error, WSAGetLastError());
            return "(" + std::to_string(error) + ")";
        }
        std::string all;
        for (const ADDRINFOW* one = found; one != nullptr; one = one->ai_next) {
            char text[INET6_ADDRSTRLEN] = "";
            const auto* const v4 = reinterpret_cast<sockaddr_in*>(one->ai_addr);
            const auto* const v6 = reinterpret_cast<sockaddr_in6*>(one->ai_addr);
            const bool four = one->ai_family == AF_INET;
            inet_ntop(one->ai_family, four ? static_cast<const void*>(&v4->sin_addr) : &v6->sin6_addr, text,
                      sizeof text);
            all += std::string(text) + " ";
        }
        FreeAddrInfoW(found);
        return all;
    }

    test::Listener listener_;
    size_t handles_;
};

TEST_F(LinuxSocketTest, NamesSetByATestResolveInTheirOrder) {
    winapi::set_host(u"printer", {"127.0.0.9", "::1", "127.0.0.2"});
    EXPECT_EQ("127.0.0.9 ::1 127.0.0.2 ", lookup(u"Printer", u"9100"));
    EXPECT_EQ("127.0.0.9 127.0.0.2 ", lookup(u"PRINTER", u"9100", AF_INET));
    EXPECT_EQ("(10109)", lookup(u"printer", u"raw"));
    EXPECT_EQ("(10109)", lookup(u"printer", u"65536"));
    winapi::set_host(u"printer", {});
    EXPECT_EQ("(11001)", lookup(u"printer", u"9100"));
    EXPECT_EQ("127.0.0.1 ", lookup(u"localhost", u"9100", AF_INET).substr(0, 10));
}

// As documented; elsewhere in the tests as what it means for a printer that answers.
TEST_F(LinuxSocketTest, TheCloseEventWaitsBehindUnreadData) {
    const SOCKET socket = connected(listener_.port());
    test::Peer peer = listener_.accept();
    peer.write("status");
    peer.close();
    WSAEVENT event = WSACreateEvent();
    EXPECT_EQ(0, WSAEventSelect(socket, event, FD_CLOSE));
    EXPECT_EQ(WSA_WAIT_TIMEOUT, WSAWaitForMultipleEvents(1, &event, FALSE, 50, FALSE));
    WSACloseEvent(event);
    closesocket(socket);
}

TEST_F(LinuxSocketTest, TimeOutsGoByTheLayersClock) {
    winapi::set_clock_speed(1000);
    const auto start = std::chrono::steady_clock::now();
    const SOCKET socket = connected(listener_.port());
    WSAEVENT event = WSACreateEvent();
    EXPECT_EQ(0, WSAEventSelect(socket, event, FD_CLOSE));
    EXPECT_EQ(WSA_WAIT_TIMEOUT, WSAWaitForMultipleEvents(1, &event, FALSE, 30000, FALSE));
    fd_set readable{1, {socket}};
    const timeval timeout{20, 0};
    EXPECT_EQ(0, select(0, &readable, nullptr, nullptr, &timeout));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    WSACloseEvent(event);
    closesocket(socket);
}

TEST_F(LinuxSocketTest, InjectedFaults) {
    const SOCKET socket = connected(listener_.port());
    test::Peer peer = listener_.accept();
    winapi::fault::arm(1, Mode::short_count);
    EXPECT_EQ(3, send(socket, "abcdef", 6, 0));
    EXPECT_EQ(6, send(socket, "ABCDEF", 6, 0));
    EXPECT_EQ("abcABCDEF", peer.read(9));
    winapi::fault::arm(1, Mode::once);
    EXPECT_EQ(SOCKET_ERROR, send(socket, "lost", 4, 0));
    EXPECT_EQ(WSAECONNRESET, WSAGetLastError());
    EXPECT_EQ("send", winapi::fault::failed_function());
    // A failing close still ends the connection.
    winapi::fault::arm(1, Mode::once);
    EXPECT_EQ(SOCKET_ERROR, closesocket(socket));
    EXPECT_EQ("", peer.read(1));
}

}  // namespace
