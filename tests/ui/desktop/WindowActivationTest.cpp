// The messages that a window manager receives when a window is to come to the front; the test acts as the window
// manager.
#include <gtest/gtest.h>
#include <poll.h>

#include "platform/WindowActivation.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11WindowActivation.h"
#include "tests/x11/support/XvfbServer.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class WindowActivationTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    ASSERT_NE(manager_.open(), nullptr);
    const std::uint32_t manages = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT;
    xcb_change_window_attributes(manager_.current(), manager_.screen().root, XCB_CW_EVENT_MASK, &manages);
    sync();
  }
  void sync() {
    xcbOwned(xcb_get_input_focus_reply(manager_.current(), xcb_get_input_focus(manager_.current()), nullptr));
  }
  // The message that has arrived; null if there is none.
  XcbPtr<xcb_client_message_event_t> message() {
    sync();
    while (auto event = xcbOwned(xcb_poll_for_event(manager_.current()))) {
      if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE) continue;
      return xcbOwned(reinterpret_cast<xcb_client_message_event_t*>(event.release()));
    }
    return nullptr;
  }
  QByteArray nameOf(xcb_atom_t atom) {
    const auto reply =
        xcbOwned(xcb_get_atom_name_reply(manager_.current(), xcb_get_atom_name(manager_.current(), atom), nullptr));
    return reply ? QByteArray(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()))
                 : QByteArray();
  }

  testx11::XvfbServer server_;
  X11Connection manager_{server_.display()};
};

TEST_F(WindowActivationTest, asksForTheFrontAsAPanelDoes) {
  activateX11Window(0x1234, server_.display());
  const auto asked = message();
  ASSERT_NE(asked, nullptr);
  EXPECT_EQ(nameOf(asked->type), "_NET_ACTIVE_WINDOW");
  EXPECT_EQ(asked->window, 0x1234U);
  EXPECT_EQ(asked->data.data32[0], 2U);
  EXPECT_EQ(asked->data.data32[1], static_cast<std::uint32_t>(XCB_CURRENT_TIME));
}

TEST_F(WindowActivationTest, asksForThePlaceAboveOthersAsAPanelDoes) {
  raiseX11Window(0x1234, server_.display());
  const auto asked = message();
  ASSERT_NE(asked, nullptr);
  EXPECT_EQ(nameOf(asked->type), "_NET_RESTACK_WINDOW");
  EXPECT_EQ(asked->window, 0x1234U);
  EXPECT_EQ(asked->data.data32[0], 2U);
  EXPECT_EQ(asked->data.data32[2], static_cast<std::uint32_t>(XCB_STACK_MODE_ABOVE));
}

TEST_F(WindowActivationTest, knowsWhetherThereIsAWindowManager) {
  EXPECT_TRUE(hasX11WindowManager(server_.display()));
  const testx11::XvfbServer bare;
  ASSERT_TRUE(bare.running());
  EXPECT_FALSE(hasX11WindowManager(bare.display()));
  EXPECT_FALSE(hasX11WindowManager(u":54321"_s));
  EXPECT_TRUE(windowsAreManaged(u"wayland"_s));
}

TEST_F(WindowActivationTest, sendsNothingOnOtherWindowSystems) {
  qputenv("DISPLAY", server_.display().toLocal8Bit());
  activateWindow(0x1234, u"wayland"_s);
  EXPECT_EQ(message(), nullptr);
  activateWindow(0x1234, u"xcb"_s);
  EXPECT_NE(message(), nullptr);
  qunsetenv("DISPLAY");
}

TEST_F(WindowActivationTest, doesNothingWithoutAServer) {
  server_.kill();
  activateX11Window(0x1234, server_.display());
  EXPECT_EQ(X11Connection(server_.display()).open(), nullptr);
}

}  // namespace
}  // namespace vantora
