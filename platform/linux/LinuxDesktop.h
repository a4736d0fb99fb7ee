// The parts of a Linux desktop that do not depend on its window system.
#pragma once

#include <memory>

#include "platform/DesktopSession.h"
#include "platform/linux/LinuxMachineIdentity.h"

namespace vantora {

// The clipboard is that of the desktop process: `clipboard` must outlive this object.
class LinuxDesktop : public DesktopSession {
 public:
  explicit LinuxDesktop(Clipboard& clipboard);

  Clipboard& clipboard() override { return clipboard_; }
  SupportTools& supportTools() override { return *supportTools_; }
  const MachineIdentity& machine() const override { return machine_; }
  std::function<QString()> downloadFolder() const override;

 private:
  Clipboard& clipboard_;
  const std::unique_ptr<SupportTools> supportTools_;
  const LinuxMachineIdentity machine_;
};

}  // namespace vantora
