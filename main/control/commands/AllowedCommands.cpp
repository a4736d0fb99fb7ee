#include "main/control/commands/AllowedCommands.h"

#include <algorithm>
#include <array>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr std::array kCommands{
    AllowedCommand{"dns-flush"_L1, "sudo dscacheutil -flushcache; sudo killall -HUP mDNSResponder"_L1},
    AllowedCommand{"open-activity-monitor"_L1, "open -a \"Activity Monitor\""_L1},
    AllowedCommand{"reveal-downloads"_L1, "open ~/Downloads"_L1},
    AllowedCommand{"toggle-dark-mode"_L1,
                   "osascript -e 'tell application \"System Events\" to tell appearance preferences to set dark mode "
                   "to not dark mode'"_L1},
    AllowedCommand{"clear-safari-cache"_L1,
                   "killall \"Safari\" 2>/dev/null; "
                   "rm -rf ~/Library/Caches/com.apple.Safari/*; "
                   "rm -rf ~/Library/Caches/com.apple.Safari.SafeBrowsing/*; "
                   "rm -rf ~/Library/Caches/Metadata/Safari/*; "
                   "rm -rf ~/Library/Containers/com.apple.Safari/Data/Library/Caches/*; "
                   "rm -rf ~/Library/Containers/com.apple.Safari/Data/Library/WebKit/Cache/*; "
                   "rm -rf ~/Library/Caches/com.apple.WebKit.Networking/*; "
                   "rm -rf ~/Library/Caches/com.apple.WebKit.PluginProcess/*; "
                   "rm -rf ~/Library/Caches/com.apple.WebKit.WebContent/*"_L1},
    AllowedCommand{"clear-chrome-cache"_L1,
                   "killall \"Google Chrome\" 2>/dev/null; rm -rf ~/Library/Caches/Google/Chrome/*"_L1},
    AllowedCommand{"show-hidden-files"_L1,
                   "defaults write com.apple.finder AppleShowAllFiles -bool true; killall Finder"_L1},
    AllowedCommand{"hide-hidden-files"_L1,
                   "defaults write com.apple.finder AppleShowAllFiles -bool false; killall Finder"_L1},
    AllowedCommand{"open-terminal"_L1, "open -a Terminal"_L1},
};

}  // namespace

std::span<const AllowedCommand> allowedCommandTable() { return kCommands; }

ResolvedCommand resolveAllowedCommand(const QString& id, const QString& fallback) {
  auto found = std::ranges::find(kCommands, id, &AllowedCommand::id);
  if (found == kCommands.end()) found = std::ranges::find(kCommands, fallback, &AllowedCommand::commandLine);
  if (found == kCommands.end()) return {};
  constexpr auto kElevate = "sudo "_L1;
  if (!found->commandLine.startsWith(kElevate)) return {.id = found->id, .commandLine = found->commandLine};
  return {.id = found->id, .commandLine = found->commandLine.sliced(kElevate.size()), .elevate = true};
}

}  // namespace vantora
