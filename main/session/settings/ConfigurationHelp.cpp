#include "main/session/settings/ConfigurationHelp.h"

#include <array>

namespace vantora {
namespace {

using enum ConfigurationSource;

constexpr std::array kNames{
    ConfigurationName{"ROOM_ID", argument, "none", "argument 1: the room to join"},
    ConfigurationName{"SIGNAL_URL", argument, "none", "argument 2: address of the signalling server"},

    ConfigurationName{"DEMO", environment, "off", "1: join the room \"demo\", where no PIN is asked"},
    ConfigurationName{"ROOM", environment, "derived from the machine", "the room to join"},
    ConfigurationName{"SIGNAL_URL", environment, "ws://localhost:8080", "address of the signalling server"},
    ConfigurationName{"SIGNAL_HOST", environment, "none", "its host name, when SIGNAL_URL is not set"},
    ConfigurationName{"SIGNAL_PORT", environment, "8080", "its port, with SIGNAL_HOST"},
    ConfigurationName{"SIGNAL_TLS", environment, "none", "0: use wss with SIGNAL_HOST; anything else: ws"},
    ConfigurationName{"SIGNAL_TOKEN", environment, "none", "access token sent when joining"},
    ConfigurationName{"ICE_URLS", environment, "a public STUN server",
                      "STUN and TURN addresses, separated by commas; \",\" means none"},
    ConfigurationName{"ICE_USERNAME", environment, "none", "user name for ICE_URLS"},
    ConfigurationName{"ICE_CREDENTIAL", environment, "none", "password for ICE_URLS"},
    ConfigurationName{"TURN_URL", environment, "none", "a TURN server beside the default STUN server"},
    ConfigurationName{"TURN_USERNAME", environment, "none", "its user name"},
    ConfigurationName{"TURN_CREDENTIAL", environment, "none", "its password"},
    ConfigurationName{"CONTROL_TOKEN", environment, "six random digits", "the PIN; fixed when set"},
    ConfigurationName{"PREFERRED_CODEC", environment, "auto", "h264, vp8, vp9, av1 or auto"},
    ConfigurationName{"H264_PROFILE", environment, "none",
                      "baseline31, main31, high31, baseline42, main42, high42 or a profile-level-id"},
    ConfigurationName{"MAX_KBPS", environment, "3000", "highest bit rate of the video, kbit/s"},
    ConfigurationName{"X_GOOGLE_MIN_KBPS", environment, "70 % of the highest", "bit-rate hint to the viewer, kbit/s"},
    ConfigurationName{"X_GOOGLE_START_KBPS", environment, "85 % of the highest", "bit-rate hint, kbit/s"},
    ConfigurationName{"X_GOOGLE_MAX_KBPS", environment, "MAX_KBPS", "bit-rate hint, kbit/s"},
    ConfigurationName{"SHARE_AUTO", environment, "off", "1: share the screen from the start"},
    ConfigurationName{"FPS", environment, "60", "frames per second"},
    ConfigurationName{"WIDTH", environment, "1280", "picture width"},
    ConfigurationName{"HEIGHT", environment, "720", "picture height"},
    ConfigurationName{"DISPLAY_INDEX", environment, "0", "the display to share"},
    ConfigurationName{"SHARE_IDLE_VIDEO", environment, "off", "1: send a test picture while nothing is shared"},
    ConfigurationName{"CONTENT_HINT", environment, "motion", "detail or motion"},
    ConfigurationName{"INPUT_MAP", environment, "points", "pixels or points"},
    ConfigurationName{"INPUT_ORIGIN", environment, "top", "bottom or top"},
    ConfigurationName{"DUMMY_DEBUG", environment, "off", "1: log the rate of the test picture"},
    ConfigurationName{"CURSOR_DEBUG", environment, "off", "1: log cursor shapes"},
    ConfigurationName{"CURSOR_TEST", environment, "off", "1: cycle through the cursor shapes"},
    ConfigurationName{"VANTORA_WINDOW_SYSTEM", environment, "what answers", "x11, wayland or none"},
    ConfigurationName{"VANTORA_KEEP_CONSENT", environment, "on",
                      "0: do not remember the user's consent to share a Wayland desktop"},

    ConfigurationName{"VANTORA_DEMO", information, "none", "1: join the room \"demo\""},
    ConfigurationName{"VANTORA_ROOM", information, "none", "the room to join"},
    ConfigurationName{"VANTORA_SIGNAL_URL", information, "none", "address of the signalling server"},
    ConfigurationName{"VANTORA_SHARE_AUTO", information, "none", "1: share the screen from the start"},
    ConfigurationName{"VANTORA_PANEL_AUTO", information, "none",
                      "0: show no window by itself where no tray shows the item"},
    ConfigurationName{"DisplayName", information, "Vantora Host", "the program's name as users see it"},
    ConfigurationName{"BundleIdentifier", information, "com.vantora.host when installed, else none",
                      "the application's identity for notifications"},
};

QString section(const char* title, ConfigurationSource source) {
  QString text = QStringLiteral("\n") + QString::fromUtf8(title) + QStringLiteral("\n");
  for (const ConfigurationName& entry : kNames) {
    if (entry.source != source) continue;
    text += QStringLiteral("  %1 %2 [default: %3]\n")
                .arg(QString::fromUtf8(entry.name), -20)
                .arg(QString::fromUtf8(entry.meaning), QString::fromUtf8(entry.defaultText));
  }
  return text;
}

}  // namespace

std::span<const ConfigurationName> configurationNames() { return kNames; }

QString helpText() {
  return QStringLiteral(
             "Usage: vantora-host [ROOM_ID [SIGNAL_URL]]\n"
             "       vantora-host --help | --version\n"
             "\n"
             "Shares this desktop with one remote viewer and lets it help, once it knows the PIN.\n") +
         section("Arguments", argument) + section("Environment variables", environment) +
         section("Keys of Info.ini, read beside the program or in ../share/vantora-host", information);
}

}  // namespace vantora
