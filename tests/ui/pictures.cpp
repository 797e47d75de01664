#include "tests/ui/dialogs.h"

#include "testbed/test_printer/tcp_printer.h"

namespace ui {

std::string pictures_folder;

namespace {

class Pictures : public Dialogs {
  protected:
    void SetUp() override {
        if (pictures_folder.empty()) GTEST_SKIP() << "no pictures are wanted";
    }
    static void store(HWND window, const std::string& name) {
        const HDC screen = GetDC(nullptr);
        const std::string dpi = std::to_string(GetDeviceCaps(screen, LOGPIXELSX));
        ReleaseDC(nullptr, screen);
        const std::string file = pictures_folder + "/" + name + "-" + dpi + ".png";
        EXPECT_TRUE(take_picture(window, std::wstring(file.begin(), file.end()))) << file;
    }
};

TEST_F(Pictures, Add) {
    test_printer::TcpPrinter printer;
    const auto desk = add_port();
    const HWND dialog = desk->front();
    store(dialog, "add-empty");
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"127.0.0.1"));
    ASSERT_TRUE(desk->fill(dialog, IDC_PORT, std::to_wstring(printer.port())));
    desk->click(dialog, IDC_TEST);
    EXPECT_TRUE(Desk::begins(dialog, IDC_TEST_RESULT, L"Success"));
    store(dialog, "add");
}

TEST_F(Pictures, AddWithMistakes) {
    const auto desk = add_port(L"\\\\print1");
    const HWND dialog = desk->front();
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"printer12.example:9100"));
    ASSERT_TRUE(desk->fill(dialog, IDC_NAME, L"Room 12, left"));
    ASSERT_TRUE(desk->fill(dialog, IDC_PORT, L"91000"));
    store(dialog, "add-mistakes");
}

TEST_F(Pictures, Configure) {
    test_printer::TcpPrinter printer;
    printer.refuse();
    spooler.config = make_config(L"Office", L"127.0.0.1", printer.port());
    const auto desk = configure_port(L"Office");
    const HWND dialog = desk->front();
    desk->click(dialog, IDC_TEST);
    EXPECT_TRUE(Desk::begins(dialog, IDC_TEST_RESULT, L"The device"));
    store(dialog, "configure");
}

TEST_F(Pictures, Delete) {
    auto desk = delete_port(L"Office");
    store(desk->front(), "delete");
    spooler.printers = {{L"Reception", L"Office"}, {L"Room 12", L"Office"}, {L"Hall", L"Office,LPT1:"}};
    desk = delete_port(L"Office");
    store(desk->front(), "delete-used");
}

TEST_F(Pictures, WithoutTheRight) {
    spooler.open = [](const std::wstring&) { return DWORD{ERROR_ACCESS_DENIED}; };
    const auto desk = add_port(L"\\\\print1");
    store(desk->front(), "no-right");
}

}  // namespace
}  // namespace ui
