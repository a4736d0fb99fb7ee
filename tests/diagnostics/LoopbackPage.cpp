#include "tests/diagnostics/LoopbackPage.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

namespace vantora::Diagnostics {

LoopbackPage::LoopbackPage(const QByteArray& answer) : answer_(answer) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), size), 0);
  EXPECT_EQ(listen(listener_, 8), 0);
  EXPECT_EQ(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), 0);
  port_ = ntohs(address.sin_port);
  thread_ = std::jthread([this] { serve(); });
}

LoopbackPage::~LoopbackPage() {
  // Wakes the thread out of accept.
  shutdown(listener_, SHUT_RDWR);
  thread_.join();
  close(listener_);
}

QString LoopbackPage::url() const { return QStringLiteral("http://127.0.0.1:%1/success.txt").arg(port_); }

void LoopbackPage::serve() const {
  std::vector<int> visitors;
  for (;;) {
    const int visitor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (visitor < 0) break;
    if (answer_.isEmpty()) {
      visitors.push_back(visitor);
      continue;
    }
    char request[4096];
    (void)!read(visitor, request, sizeof request);
    (void)!write(visitor, answer_.constData(), static_cast<size_t>(answer_.size()));
    close(visitor);
  }
  for (const int visitor : visitors) close(visitor);
}

}  // namespace vantora::Diagnostics
