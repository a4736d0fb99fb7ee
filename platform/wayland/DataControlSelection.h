// One of the two texts that a compositor's data control manages.
#pragma once

#include <wayland-client.h>

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <chrono>
#include <functional>
#include <list>

#include "base/ThreadAffinity.h"
#include "platform/Clipboard.h"
#include "platform/TextPipes.h"
#include "platform/wayland/DataControlProtocol.h"

namespace vantora {

// The clipboard, or the primary selection. Nothing is read or set while it is closed, and before its content is known.
// Thread: main. Owner: the connection to the compositor, which passes its events on.
class DataControlSelection final : public Clipboard {
 public:
  // What another program offers, or this one.
  struct Offer {
    wl_proxy* proxy = nullptr;
    QStringList formats = {};  // Of plain text.
    QByteArray mark = {};      // A format by which offers of this program are recognised.
    bool confidential = false;

    // Another format of it.
    void add(const char* format);
  };

  // `request`: that sets it. `flush` sends requests.
  DataControlSelection(DataControlProtocol::DeviceRequest request, std::chrono::milliseconds timeout,
                       std::function<void()> flush);
  DataControlSelection(const DataControlSelection&) = delete;
  DataControlSelection& operator=(const DataControlSelection&) = delete;

  void open(const DataControlProtocol& protocol, wl_proxy* manager, wl_proxy* device);
  // The compositor has told its first content.
  void setKnown();
  // The device ends; what is pending fails.
  void close();
  // Without calling anybody any more.
  void drop() { done_ = nullptr; }
  // Its content is another one; takes the offer over, whose proxy is null when there is none.
  void selected(const Offer& offer);

  bool shared() const override { return known_; }
  qint64 changeCount() const override { return changeCount_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void setInterestHandler(std::function<void(Interest)> handler) override { interest_ = std::move(handler); }
  void setText(const QString& text, std::function<void(qint64)> done) override;
  void requestText(TextCallback done) override;

 private:
  struct Source {
    wl_proxy* proxy;
    QString text;
    QByteArray mark;
  };

  bool setting() const { return done_ != nullptr; }
  void beginReading(quint64 turn);
  void select(const QString& text);
  void stored();
  void settingFailed();
  std::list<Source>::iterator placeOf(wl_proxy* source);
  void send(wl_proxy* proxy, const char* format, FileDescriptor pipe);
  void cancelled(wl_proxy* proxy);

  ThreadAffinity affinity_;
  const DataControlProtocol::DeviceRequest request_;
  const std::chrono::milliseconds timeout_;
  const std::function<void()> flush_;
  QObject context_;
  std::function<void()> changed_;
  std::function<void(Interest)> interest_;
  qint64 changeCount_ = 0;

  const DataControlProtocol* protocol_ = nullptr;
  wl_proxy* manager_ = nullptr;
  wl_proxy* device_ = nullptr;
  bool known_ = false;     // Its content is known.
  bool wasKnown_ = false;  // It was in this or an earlier connection.
  Offer current_;
  // The newest one is the last one; earlier ones have not been ended by the compositor yet.
  std::list<Source> sources_;
  bool ours_ = false;  // It holds the text of the newest source.
  std::function<void(qint64)> done_;
  QTimer settingTimeout_;
  TextReadings readings_{[this](quint64 turn) { beginReading(turn); }, {.timeout = timeout_}};
  TextWritings writings_;
};

}  // namespace vantora
