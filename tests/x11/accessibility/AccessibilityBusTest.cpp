// Detection of the accessibility bus.
#include <QFile>

#include "tests/x11/accessibility/AccessibilityFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora::testx11 {
namespace {

class AccessibilityBusTest : public AccessibilityFixture {};

// Elements are read after the search for the bus, on the same thread: after the reply the search is over.
TEST_F(AccessibilityBusTest, startsNoServiceThatIsNotRunning) {
  const PrivateDesktop desktop;
  ASSERT_TRUE(desktop.running());
  open(desktop);
  EXPECT_EQ(accessibility_->trust(), AccessibilityTrust::absent);
  const auto found = pointedElements();
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->elements.empty());
  EXPECT_EQ(accessibility_->trust(), AccessibilityTrust::absent);
  EXPECT_FALSE(desktop.hasOwner("org.a11y.Bus"));
}

TEST_F(AccessibilityBusTest, findsAServiceThatStartsLater) {
  const PrivateDesktop desktop;
  ASSERT_TRUE(desktop.running());
  open(desktop);
  EXPECT_EQ(accessibility_->trust(), AccessibilityTrust::absent);
  ASSERT_TRUE(pointedElements());
  ASSERT_TRUE(desktop.startAccessibility());
  const ChildProcess program = desktop.spawn({qtProgram()});
  EXPECT_TRUE(shows(desktop, 150, 135, u"text"_s));
  EXPECT_EQ(accessibility_->trust(), AccessibilityTrust::granted);
}

TEST_F(AccessibilityBusTest, detectsThatTheBusIsGone) {
  auto desktop = std::make_unique<PrivateDesktop>();
  ASSERT_TRUE(desktop->running());
  ASSERT_TRUE(desktop->startAccessibility());
  open(*desktop);
  ASSERT_TRUE(becomesTrusted());
  desktop.reset();
  ASSERT_TRUE(testloop::waitFor([&] {
    const auto found = pointedElements();
    return found && accessibility_->trust() == AccessibilityTrust::absent;
  }));
}

TEST_F(AccessibilityBusTest, withoutAnyBusTheServiceIsAbsent) {
  accessibility_ = makeAtSpiAccessibility(Environment::of({}), makeX11WindowFinder(u":9999"_s));
  EXPECT_EQ(accessibility_->trust(), AccessibilityTrust::absent);
  const auto found = pointedElements();
  ASSERT_TRUE(found);
  EXPECT_EQ(*found, PointedElements{});
  EXPECT_EQ(accessibility_->trust(), AccessibilityTrust::absent);
}

// Every entry of an address is tried in turn, and any client of the X server may have set it.
TEST_F(AccessibilityBusTest, startsNoProgramThatAnAddressNames) {
  const PrivateDesktop desktop;
  ASSERT_TRUE(desktop.running());
  const QTemporaryDir directory;
  const QString trace = directory.filePath(u"trace"_s);
  const QString program = u"unixexec:path=/usr/bin/touch,argv1="_s + trace;
  for (const QString& address : {program, u"unix:path=/nonexistent;"_s + program, u";;"_s + program}) {
    for (const char* variable : {"AT_SPI_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"}) {
      accessibility_ =
          makeAtSpiAccessibility(Environment([&](const char* name) {
                                   return qstrcmp(name, variable) == 0 ? std::optional(address) : std::nullopt;
                                 }),
                                 makeX11WindowFinder(desktop.server().display()));
      EXPECT_EQ(accessibility_->trust(), AccessibilityTrust::absent);
      EXPECT_TRUE(pointedElements());
    }
    ASSERT_EQ(
        desktop.run({"xprop", "-root", "-format", "AT_SPI_BUS", "8s", "-set", "AT_SPI_BUS", address.toStdString()}), 0);
    accessibility_ = makeAtSpiAccessibility(Environment::of({}), makeX11WindowFinder(desktop.server().display()));
    EXPECT_EQ(accessibility_->trust(), AccessibilityTrust::absent);
    EXPECT_TRUE(pointedElements());
  }
  accessibility_.reset();
  EXPECT_FALSE(QFile::exists(trace));
}

TEST_F(AccessibilityBusTest, takesTheFirstSocketOfAnAddressThatAnswers) {
  const PrivateDesktop desktop;
  ASSERT_TRUE(desktop.running());
  ASSERT_TRUE(desktop.startAccessibility());
  const QString address = u"unix:path=/nonexistent;"_s + QString::fromStdString(desktop.busAddress());
  accessibility_ = makeAtSpiAccessibility(
      Environment([&](const char* name) {
        return qstrcmp(name, "DBUS_SESSION_BUS_ADDRESS") == 0 ? std::optional(address) : std::nullopt;
      }),
      makeX11WindowFinder(desktop.server().display()));
  EXPECT_TRUE(becomesTrusted());
}

// A bus whose policy rejects every connection.
TEST_F(AccessibilityBusTest, reportsThatTheServiceRefuses) {
  const QTemporaryDir directory;
  const QString path = directory.filePath(u"bus.conf"_s);
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write(
      "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
      "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n<busconfig><type>session</"
      "type><listen>unix:dir=" +
      directory.path().toUtf8() +
      "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/><allow own=\"*\"/>"
      "<deny user=\"*\"/></policy></busconfig>");
  file.close();
  const PrivateDesktop desktop(path.toStdString());
  ASSERT_TRUE(desktop.running());
  const QString address = QString::fromStdString(desktop.busAddress());
  accessibility_ =
      makeAtSpiAccessibility(Environment([&](const char* name) {
                               return qstrcmp(name, "AT_SPI_BUS_ADDRESS") == 0 ? std::optional(address) : std::nullopt;
                             }),
                             makeX11WindowFinder(desktop.server().display()));
  EXPECT_TRUE(becomesTrusted(AccessibilityTrust::refused));
}

}  // namespace
}  // namespace vantora::testx11
