// Who is interested in the clipboard's text, and the primary selection.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "tests/x11/clipboard/QtClipboardFixture.h"

namespace vantora {
namespace {

TEST_F(QtClipboardTest, tellsOfInterestInItsText) {
  std::vector<Clipboard::Interest> interests;
  clipboard_->setInterestHandler([&](Clipboard::Interest interest) { interests.push_back(interest); });
  write(u"ours"_s);
  EXPECT_EQ(read(), u"ours"_s);
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o", "-t", "TARGETS"}).contains("UTF8_STRING"), true);
  ASSERT_TRUE(waitFor([&] { return interests.size() == 1; }));
  EXPECT_EQ(interests.front(), Clipboard::Interest::formats);
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o"}), "ours");
  ASSERT_TRUE(waitFor([&] { return std::ranges::count(interests, Clipboard::Interest::text) == 1; }));
}

TEST_F(QtClipboardTest, hasThePrimarySelectionToo) {
  EXPECT_TRUE(clipboard_->shared());
  const auto primary = makeQtClipboard(QClipboard::Selection);
  int primaryChanges = 0;
  primary->setChangedHandler([&] { ++primaryChanges; });
  const auto readPrimary = [&] {
    std::optional<QString> text;
    primary->requestText([&](const ClipboardReading& got) { text = got.text.value_or(u"(failed)"_s); });
    EXPECT_TRUE(waitFor([&] { return text.has_value(); }));
    return text;
  };
  write(u"copied"_s);
  EXPECT_EQ(output({"sh", "-c", "echo -n selected | xclip -selection primary -i"}), "");
  EXPECT_EQ(readPrimary(), u"selected"_s);
  bool stored = false;
  primary->setText(u"lent"_s, [&](qint64) { stored = true; });
  ASSERT_TRUE(waitFor([&] { return stored; }));
  EXPECT_EQ(output({"xclip", "-selection", "primary", "-o"}), "lent");
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o"}), "copied");
  EXPECT_EQ(primaryChanges, 0);
  EXPECT_EQ(output({"sh", "-c", "echo -n other | xclip -selection primary -i"}), "");
  ASSERT_TRUE(waitFor([&] { return primaryChanges == 1; }));
  EXPECT_EQ(readPrimary(), u"other"_s);
  EXPECT_EQ(changes_, 0);
}

}  // namespace
}  // namespace vantora
