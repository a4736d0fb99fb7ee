// A compositor of the test that has a clipboard and nothing else.
#pragma once

#include <wayland-server-core.h>

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTemporaryDir>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "platform/wayland/DataControlProtocol.h"

namespace vantora::testwayland {

// Speaks one of the two protocols from the event loop of the test, from construction to destruction.
class FakeCompositor {
 public:
  // `version`: of its manager.
  explicit FakeCompositor(const DataControlProtocol& protocol, std::uint32_t version = 1);
  ~FakeCompositor();
  FakeCompositor(const FakeCompositor&) = delete;
  FakeCompositor& operator=(const FakeCompositor&) = delete;

  QString socket() const { return folder_.filePath(QStringLiteral("socket")); }
  // Clients that manage its clipboard now.
  std::size_t clients() const { return devices_.size(); }

  // Offers that clients have not ended.
  std::size_t offers() const { return offers_.size(); }

  // Another program copies, or selects, `text`.
  void copy(const QByteArray& text, const std::vector<QByteArray>& formats = {"text/plain"});
  void select(const QByteArray& text);
  // Offers of which it never tells what they are.
  void offerWithoutReason(int count);
  // The seat is gone, for all clients.
  void finish();
  // Ends the clients for an error that they have not made.
  void accuse();

  bool confirms = true;              // Tells clients of their own selections.
  bool hasPrimary = true;            // Where the version of the protocol knows it.
  std::vector<QByteArray> received;  // The formats that clients have read.

 private:
  void bindManager(wl_client* client, std::uint32_t version, std::uint32_t id);
  void bindSeat(wl_client* client, std::uint32_t id);
  void clientSelects(wl_resource* source);
  void clientSelectsPrimary(wl_resource* source);
  wl_resource* offerTo(wl_resource* device, wl_resource* source, const QByteArray& text,
                       const std::vector<QByteArray>& formats);
  static FakeCompositor& self(wl_resource* resource);

  const DataControlProtocol& protocol_;
  QTemporaryDir folder_;
  QObject context_;
  wl_display* display_;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::set<wl_resource*> devices_;
  std::map<wl_resource*, std::vector<QByteArray>> sources_;  // And their formats.
  wl_resource* selected_ = nullptr;                          // The source of a client, or none.
  struct Content {
    wl_resource* source;  // Null: `text`.
    QByteArray text;
  };
  std::map<wl_resource*, Content> offers_;
};

}  // namespace vantora::testwayland
