#include "platform/linux/LinuxDesktop.h"

#include "platform/linux/support/LinuxDownloads.h"
#include "platform/linux/support/LinuxSupportTools.h"

namespace vantora {

LinuxDesktop::LinuxDesktop(Clipboard& clipboard) : clipboard_(clipboard), supportTools_(makeLinuxSupportTools()) {}

std::function<QString()> LinuxDesktop::downloadFolder() const { return vantora::downloadFolder; }

}  // namespace vantora
