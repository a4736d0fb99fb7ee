// A whole session over fakes: the test acts as server, viewer, WebRTC library and clock.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "base/Log.h"
#include "main/session/Host.h"
#include "tests/fakes/FakeDesktopSession.h"
#include "tests/fakes/FakePeerConnection.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/FakeVideoSources.h"
#include "tests/fakes/FakeWebSocketTask.h"

namespace vantora {

// Log lines are in the same journal as the calls, marked by "log: ".
class HostFixture : public testing::Test {
 protected:
  void start(const QString& room = QStringLiteral("r")) {
    const QString url = QStringLiteral("ws://h:1");
    desktop_.identity.prettyName = QStringLiteral("desk");
    host_ = std::make_unique<Host>(
        room,
        Host::Configuration{
            .environment = environment(), .info = InfoDictionary(info_), .signalingUrl = {QUrl(url), url}},
        Host::Platform{.scheduler = scheduler_,
                       .desktop = desktop_,
                       .factory = factory_,
                       .videoSources = sources_.factory(),
                       .webSocketTasks = sockets_.factory(),
                       .random = [this](quint32) { return randomNumber_; },
                       .diagnostics = diagnostics_,
                       .statistics = statistics_});
  }
  // Started, the first offer answered, both channels open; journal and sent messages empty.
  void connectViewer(const QString& room = QStringLiteral("r")) {
    start(room);
    peer().settle();
    answer(QStringLiteral("AA"), QStringLiteral("u1"));
    peer().reportIce(IceState::connected);
    peer().control().open();
    peer().reliable().open();
    forget();
  }
  // A viewer with the right PIN that has switched control on.
  void connectInControl() {
    connectViewer();
    say({{QStringLiteral("type"), QStringLiteral("auth")}, {QStringLiteral("token"), host_->authorisation().getPIN()}});
    say({{QStringLiteral("type"), QStringLiteral("control")}, {QStringLiteral("enable"), true}});
    ASSERT_TRUE(isOpen(Gate::input, host_->authorisation().rights()));
    forget();
  }
  void holdAButton() {
    say({{QStringLiteral("type"), QStringLiteral("mouseDown")},
         {QStringLiteral("x"), 0.5},
         {QStringLiteral("y"), 0.5}});
    ASSERT_FALSE(input_.heldButtons.empty());
  }
  // Another viewer answers in place of the present one; its channels are open.
  void replaceViewer() {
    signal({{QStringLiteral("type"), QStringLiteral("renegotiate")}});
    peer().settle();
    const auto before = factory_.peers.size();
    answer(QStringLiteral("BB"), QStringLiteral("u2"));
    ASSERT_EQ(factory_.peers.size(), before + 1);
    peer().control().open();
    peer().reliable().open();
    forget();
  }
  void answer(const QString& fingerprint, const QString& iceUfrag) {
    signal({{QStringLiteral("type"), QStringLiteral("answer")},
            {QStringLiteral("sdp"), fakes::answerText(fingerprint, iceUfrag)}});
    peer().settle();
  }
  // A message of the signalling server.
  void signal(const JsonObject& message) { sockets_.last().deliverText(QString::fromUtf8(toJson(message))); }
  // A control message of the viewer.
  void say(const JsonObject& message, QLatin1StringView label = QLatin1StringView("control_reliable")) {
    peer().channel(label).deliver(message);
  }
  void say(const QByteArray& text, QLatin1StringView label = QLatin1StringView("control_reliable")) {
    peer().channel(label).deliver(text);
  }
  // The messages that the viewer received on `label` since the last call.
  QList<JsonObject> received(QLatin1StringView label = QLatin1StringView("control_reliable")) {
    return peer().channel(label).takeMessages();
  }
  static QStringList typesOf(const QList<JsonObject>& messages) {
    QStringList types;
    for (const JsonObject& message : messages) types.append(message.value(QStringLiteral("type")).toString());
    return types;
  }
  // Types of the signalling messages sent on the newest connection, in order.
  QStringList signalled() {
    QStringList types;
    for (const QString& text : sockets_.last().sent) {
      types.append(parseJsonObject(text.toUtf8()).value_or(JsonObject()).value(QStringLiteral("type")).toString());
    }
    return types;
  }
  void forget() {
    journal_.take();
    sockets_.last().sent.clear();
    received(QLatin1StringView("control"));
    received();
  }
  QStringList logged() const {
    QStringList lines = journal_.with(QLatin1StringView("log: "));
    for (QString& line : lines) line.remove(0, 5);
    return lines;
  }
  fakes::FakePeer& peer() { return factory_.last(); }

  fakes::Journal journal_;
  ScopedLogSink log_{[this](const QString& line) { journal_.note(QStringLiteral("log: ") + line); }};
  std::map<std::string, QString> variables_;
  QMap<QString, QString> info_;
  quint32 randomNumber_ = 42;
  fakes::FakeScheduler scheduler_;
  fakes::FakeDesktopSession desktop_;
  fakes::FakeDisplays& displays_ = desktop_.displayList;
  fakes::FakeDesktopInput& input_ = desktop_.desktopInput;
  TaskStarter diagnostics_;
  fakes::FakeSupportTools& supportTools_ = desktop_.tools;
  fakes::FakeSystemCursor& cursor_ = desktop_.systemCursor;
  fakes::FakeAccessibility& accessibility_ = desktop_.accessibilityService;
  fakes::FakeClipboard& clipboard_ = desktop_.textClipboard;
  QTemporaryDir& downloads_ = desktop_.downloads;
  TaskStarter statistics_;
  fakes::FakePeerConnectionFactory factory_{&journal_};
  fakes::FakeVideoSources sources_{journal_};
  fakes::FakeWebSockets sockets_;
  std::unique_ptr<Host> host_;

 private:
  Environment environment() {
    return Environment([this](const char* name) -> std::optional<QString> {
      const auto found = variables_.find(name);
      return found == variables_.end() ? std::nullopt : std::optional(found->second);
    });
  }
};

}  // namespace vantora
