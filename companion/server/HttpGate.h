// The start of a connection, until its request is known.
#pragma once

#include <QTcpSocket>
#include <functional>
#include <memory>

#include "base/Scheduler.h"
#include "companion/server/OriginPolicy.h"
#include "companion/server/StaticFiles.h"

namespace vantora::companion {

// Inspects the first request of one socket without consuming it. A WebSocket upgrade that the policy admits is handed
// on untouched; anything else gets its HTTP response, and the socket is closed. Main thread; owned by RoomServer, which
// deletes it from the event loop once onDone was called.
class HttpGate {
 public:
  struct Callbacks {
    // The socket asks for a WebSocket; it has its request still unread and belongs to the callee.
    std::function<void(QTcpSocket*)> onUpgrade;
    // The gate is finished.
    std::function<void()> onDone;
  };

  // `files` and `policy` must outlive this; `timeout` bounds the time from here to the end of the response.
  HttpGate(std::unique_ptr<QTcpSocket> socket, const StaticFiles& files, const OriginPolicy& policy,
           Scheduler& scheduler, std::chrono::milliseconds timeout, Callbacks callbacks);
  ~HttpGate();
  HttpGate(const HttpGate&) = delete;
  HttpGate& operator=(const HttpGate&) = delete;

 private:
  void inspect();
  void respondAndClose(const QByteArray& response);
  void finish();

  std::unique_ptr<QTcpSocket> socket_;
  const StaticFiles& files_;
  const OriginPolicy& policy_;
  Callbacks callbacks_;
  bool responded_ = false;
  std::unique_ptr<Timer> timeout_;
};

}  // namespace vantora::companion
