#pragma once

#include <QByteArray>
#include <QString>
#include <thread>

namespace vantora::Diagnostics {

// A page on the loopback interface that sends every client the same response, on a thread of its own until destroyed.
class LoopbackPage {
 public:
  // `answer` is the whole response, head and body; "" accepts clients and never responds.
  explicit LoopbackPage(const QByteArray& answer);
  ~LoopbackPage();
  LoopbackPage(const LoopbackPage&) = delete;
  LoopbackPage& operator=(const LoopbackPage&) = delete;

  [[nodiscard]] QString url() const;

 private:
  void serve() const;

  const QByteArray answer_;
  int listener_ = -1;
  int port_ = 0;
  std::jthread thread_;
};

}  // namespace vantora::Diagnostics
