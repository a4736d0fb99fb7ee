// The screens that the user shares.
#pragma once

#include <QSize>
#include <map>

#include "platform/Displays.h"
#include "platform/KnownDisplays.h"
#include "platform/portal/StreamAccess.h"

namespace vantora {

// Their ids are those of the streams. Empty until the user has consented. Thread: main.
class PortalDisplays final : public Displays {
 public:
  std::vector<Display> list() override { return displays_; }
  std::optional<Display> find(std::uint32_t id) override { return known_.find(id); }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }

  // The streams of a session; none: it has ended.
  void setStreams(std::vector<PortalStream> streams);
  // The size of the frames that a stream delivers.
  void setFrameSize(std::uint32_t node, QSize pixels);
  // The size of a screen in the units in which a portal takes positions.
  std::optional<QSize> layoutSize(std::uint32_t node) const;

 private:
  void update();

  std::vector<PortalStream> streams_;
  std::map<std::uint32_t, QSize> frameSizes_;
  std::vector<Display> displays_;
  KnownDisplays known_;
  std::function<void()> changed_;
};

}  // namespace vantora
