#include <gtest/gtest.h>

#include <QString>

#include "main/desktop/NumberedOutbox.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

using Outbox = NumberedOutbox<QString>;

QString contents(const auto& kept) {
  QString text;
  for (const auto& one : kept) text += QString::number(one.number) + one.entry + u' ';
  return text;
}

TEST(NumberedOutbox, keepsUnhandledEntriesInOrder) {
  Outbox outbox({});
  EXPECT_EQ(outbox.last(), 0);
  EXPECT_EQ(outbox.next(), 1);
  for (const QString& text : {u"a"_s, u"b"_s, u"c"_s}) EXPECT_TRUE(outbox.add(text, 1).empty());
  outbox.remove(2);
  EXPECT_EQ(contents(outbox.kept()), u"1a 3c "_s);
  EXPECT_EQ(outbox.last(), 3);
}

TEST(NumberedOutbox, numbersContinueAfterEverythingWasHandled) {
  Outbox outbox({});
  outbox.add(u"a"_s, 1);
  outbox.remove(1);
  outbox.add(u"b"_s, 1);
  EXPECT_EQ(contents(outbox.kept()), u"2b "_s);
}

TEST(NumberedOutbox, ignoresNumbersThatItDoesNotHave) {
  Outbox outbox({});
  outbox.add(u"a"_s, 1);
  for (const qint64 number : {-1, 0, 2}) outbox.remove(number);
  EXPECT_EQ(contents(outbox.kept()), u"1a "_s);
}

TEST(NumberedOutbox, theOldestGoWhenThereAreTooMany) {
  Outbox outbox({.entries = 2});
  outbox.add(u"a"_s, 1);
  outbox.add(u"b"_s, 1);
  EXPECT_EQ(contents(outbox.add(u"c"_s, 1)), u"1a "_s);
  EXPECT_EQ(contents(outbox.kept()), u"2b 3c "_s);
}

TEST(NumberedOutbox, theOldestGoWhenTheyWeighTooMuch) {
  Outbox outbox({.weight = 10});
  outbox.add(u"a"_s, 4);
  outbox.add(u"b"_s, 4);
  EXPECT_EQ(contents(outbox.add(u"c"_s, 7)), u"1a 2b "_s);
  outbox.remove(3);
  outbox.add(u"d"_s, 10);
  EXPECT_EQ(contents(outbox.kept()), u"4d "_s);
  EXPECT_EQ(contents(outbox.add(u"e"_s, 11)), u"4d 5e "_s);
  EXPECT_TRUE(outbox.kept().empty());
}

}  // namespace
}  // namespace vantora
