// The screens that the user shares.
#pragma once

#include <QSize>
#include <map>

#include "platform/Displays.h"
#include "platform/KnownDisplays.h"
#include "platform/portal/StreamAccess.h"

namespace vantora {

// Empty until the user has consented. Ids are never used again: the numbers of PipeWire nodes are. Thread: main.
class PortalDisplays final : public Displays {
 public:
  std::vector<Display> list() override { return displays_; }
  std::optional<Display> find(std::uint32_t id) override { return known_.find(id); }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }

  // The streams of a session; none: it has ended.
  void setStreams(const std::vector<PortalStream>& streams);
  // The size of the frames that a stream delivers.
  void setFrameSize(std::uint32_t node, QSize pixels);
  // A screen as the portal takes positions on it.
  struct Target {
    std::uint32_t node = 0;
    QSize layout;  // Its size in layout units.
    QSize pixels;
  };
  // Empty for a display that is not shared any more.
  std::optional<Target> target(std::uint32_t displayId) const;

 private:
  struct Screen {
    std::uint32_t displayId = 0;
    PortalStream stream;
  };
  Target targetOf(const PortalStream& stream) const;
  void update();

  std::vector<Screen> screens_;
  std::uint32_t lastId_ = 0;
  std::map<std::uint32_t, QSize> frameSizes_;
  std::vector<Display> displays_;
  KnownDisplays known_;
  std::function<void()> changed_;
};

}  // namespace vantora
