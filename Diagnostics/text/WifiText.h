#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// The wireless link as the tools of the systems describe it. Pure functions, any thread.
namespace vantora::Diagnostics {

struct WifiLink {
  std::optional<QString> ssid;
  std::optional<int> rssi;        // dBm
  std::optional<int> noise;       // dBm
  std::optional<QString> txRate;  // Mbit/s, as the tool writes the number
};

// "label: value" lines of the airport tool; labels count without regard to case. For the collectors of a system that
// has this tool; those of Linux have others.
[[nodiscard]] WifiLink parseAirport(const QString& text);
// `iw dev NAME link`.
[[nodiscard]] WifiLink parseIwLink(const QString& text);
// `iw dev NAME survey dump`: the noise of the channel in use.
[[nodiscard]] std::optional<int> parseIwNoise(const QString& text);
// `nmcli -t -f IN-USE,SSID,SIGNAL,RATE device wifi list`: the row in use. Its signal is a percentage that stands for
// -120 dBm plus itself.
[[nodiscard]] WifiLink parseNmcliWifi(const QString& text);
// /proc/net/wireless: level and noise of one interface.
[[nodiscard]] WifiLink parseProcWireless(const QString& text, const QString& interface);

// 4 bars from -50 dBm, 3 from -60, 2 from -70, 1 below; 0 without a signal.
[[nodiscard]] int signalBars(std::optional<int> rssi);
// {"ssid", "rssi", "noise", "txRate"}, each when known, and "signalBars".
[[nodiscard]] QJsonObject toJson(const WifiLink& link);

}  // namespace vantora::Diagnostics
