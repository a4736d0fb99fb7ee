#include "main/desktop/DesktopProcess.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <algorithm>
#include <csignal>

#include "main/desktop/ProgramInMemory.h"

// The file of the desktop process's program; null in programs that do not carry it (tests).
// NOLINTBEGIN(readability-identifier-naming): the linker's names.
extern "C" {
[[gnu::weak]] extern const char _binary_vantora_host_desktop_start[];
[[gnu::weak]] extern const char _binary_vantora_host_desktop_end[];
}
// NOLINTEND(readability-identifier-naming)

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

constexpr auto kFirstDelay = 1000ms;
constexpr auto kLongestDelay = 30000ms;
// A process that ran this long had no trouble starting.
constexpr auto kSettled = 60s;
constexpr int kGoodbyeMs = 500;

}  // namespace

QString desktopProgram(const QString& folder) {
  if (const char* image = _binary_vantora_host_desktop_start) {
    QString path = programInMemory({image, _binary_vantora_host_desktop_end}, "vantora-host-desktop");
    if (!path.isEmpty()) return path;
  }
  const QString beside = folder + u"/vantora-host-desktop"_s;
  return QFileInfo::exists(beside) ? beside : folder + u"/../libexec/vantora-host-desktop"_s;
}

DesktopProcess::DesktopProcess(Scheduler& scheduler, QString program, Events events)
    : scheduler_(scheduler), program_(std::move(program)), events_(std::move(events)), delay_(kFirstDelay) {}

DesktopProcess::~DesktopProcess() { stop(); }

void DesktopProcess::start() {
  restart_.reset();
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return ended();
  process_ = std::make_unique<QProcess>();
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QString::fromLatin1(kLinkVariable), QString::number(ends[1]));
  process_->setProcessEnvironment(environment);
  process_->setProcessChannelMode(QProcess::ForwardedChannels);
  process_->setInputChannelMode(QProcess::ForwardedInputChannel);
  process_->setChildProcessModifier([theirs = ends[1]] {
    // The desktop process must not inherit sockets of the session, not even those that a library opened as inheritable.
    close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    fcntl(theirs, F_SETFD, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // An interrupt from the terminal, or its end, reaches both processes; the session ends the two in order. The
    // process itself replaces this by handlers, which the programs it starts do not inherit.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
    // The session blocks its signals, because it reads them from a descriptor.
    sigset_t empty;
    sigemptyset(&empty);
    sigprocmask(SIG_SETMASK, &empty, nullptr);
  });
  QObject::connect(process_.get(), &QProcess::finished, process_.get(), [this] { ended(); });
  QObject::connect(process_.get(), &QProcess::errorOccurred, process_.get(), [this](QProcess::ProcessError error) {
    if (error == QProcess::FailedToStart) ended();
  });
  startedAt_ = scheduler_.monotonicNow();
  link_ = std::make_unique<DesktopLink>(
      ends[0], DesktopLink::Events{.message = [this](const JsonObject& message) { take(message); },
                                   .lost = [this] { process_->kill(); }});
  process_->start(program_, {QCoreApplication::applicationDirPath()});
  close(ends[1]);
  if (!link_) return;
  unanswered_ = 0;
  pingTimer_ = scheduler_.every(kPingInterval, kPingInterval, [this] { sendPing(); });
  if (events_.connected) events_.connected();
}

void DesktopProcess::take(const JsonObject& message) {
  unanswered_ = 0;
  if (stringField(message, "type"_L1) != u"pong"_s && events_.message) events_.message(message);
}

void DesktopProcess::sendPing() {
  if (unanswered_ * kPingInterval >= kTimeout) return process_->kill();
  ++unanswered_;
  send({{u"type"_s, u"ping"_s}});
}

void DesktopProcess::send(const JsonObject& message) {
  if (link_) link_->send(message);
}

void DesktopProcess::ended() {
  if (restart_) return;
  const bool hadLink = link_ != nullptr;
  pingTimer_.reset();
  link_.reset();
  if (scheduler_.monotonicNow() - startedAt_ > kSettled) delay_ = kFirstDelay;
  restart_ = scheduler_.after(delay_, [this] { start(); });
  delay_ = std::min(delay_ * 2, std::chrono::milliseconds(kLongestDelay));
  if (hadLink && events_.disconnected) events_.disconnected();
}

void DesktopProcess::stop() {
  restart_.reset();
  pingTimer_.reset();
  if (!process_) return;
  QObject::disconnect(process_.get(), nullptr, nullptr, nullptr);
  // The desktop process quits when nothing more comes. A reply that it could not send would end it before.
  if (link_) link_->endSending();
  if (process_->state() != QProcess::NotRunning && !process_->waitForFinished(kGoodbyeMs)) {
    process_->kill();
    process_->waitForFinished(kGoodbyeMs);
  }
  link_.reset();
  process_.reset();
}

}  // namespace vantora
