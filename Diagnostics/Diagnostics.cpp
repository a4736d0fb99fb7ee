#include "Diagnostics/Diagnostics.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <vector>

#include "Diagnostics/Collector.h"
#include "Diagnostics/FolderSize.h"
#include "Diagnostics/Pieces.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr QLatin1StringView kSections[] = {"network"_L1,   "ping"_L1,    "crashes"_L1,  "storage"_L1, "battery"_L1,
                                           "processes"_L1, "updates"_L1, "security"_L1, "thermal"_L1};

// The report travels as one message of limited size, whatever a tool printed.
struct Bounds {
  qsizetype longestText = 1000;
  qsizetype longestArray = 120;
};
// With its envelope within the 64 KiB that every viewer's data channel accepts.
constexpr qsizetype kMaxBytes = 64'000;

QJsonValue bounded(const QJsonValue& value, const Bounds& bounds) {
  if (value.isString()) {
    const QString text = value.toString();
    if (text.size() <= bounds.longestText) return value;
    // A cut must not split a surrogate pair.
    return text.left(bounds.longestText - (text[bounds.longestText - 1].isHighSurrogate() ? 1 : 0));
  }
  if (value.isArray()) {
    QJsonArray result;
    for (const QJsonValue element : value.toArray()) {
      if (result.size() >= bounds.longestArray) break;
      result.append(bounded(element, bounds));
    }
    return result;
  }
  if (value.isObject()) {
    QJsonObject result = value.toObject();
    for (auto it = result.begin(); it != result.end(); ++it) it.value() = bounded(it.value(), bounds);
    return result;
  }
  return value;
}

// The report with texts and lists shortened just enough for its maximum size.
QJsonObject fitted(QJsonObject report) {
  for (Bounds bounds; bounds.longestText > 1; bounds = {bounds.longestText / 2, bounds.longestArray * 3 / 4}) {
    if (QJsonDocument(report).toJson(QJsonDocument::Compact).size() <= kMaxBytes) break;
    report = bounded(report, bounds).toObject();
  }
  return report;
}

void addTo(QJsonObject& section, const QJsonObject& piece) {
  for (auto it = piece.begin(); it != piece.end(); ++it) section.insert(it.key(), bounded(it.value(), {}));
}

QJsonObject oneSection(QLatin1StringView section, const Options& options) {
  std::vector<Collector> pieces = collectors();
  std::erase_if(pieces, [&](const Collector& piece) { return piece.section != section; });
  QJsonObject result;
  for (const QJsonObject& piece : collectPieces(options, pieces)) addTo(result, piece);
  return result;
}

}  // namespace

QJsonObject run(const Options& options) {
  const std::vector<Collector>& pieces = collectors();
  const std::vector<QJsonObject> results = collectPieces(options, pieces);
  QJsonObject report;
  for (const QLatin1StringView section : kSections) {
    QJsonObject content;
    for (size_t i = 0; i < pieces.size(); ++i) {
      if (pieces[i].section == section) addTo(content, results[i]);
    }
    report.insert(section, content);
  }
  return fitted(std::move(report));
}

QJsonObject networkInfo(const Options& options) { return oneSection("network"_L1, options); }
QJsonObject reachability(const Options& options) { return oneSection("ping"_L1, options); }
QJsonObject crashInfo(const Options& options) { return oneSection("crashes"_L1, options); }
QJsonObject storageInfo(const Options& options) { return oneSection("storage"_L1, options); }
QJsonObject batteryInfo(const Options& options) { return oneSection("battery"_L1, options); }
QJsonObject processesInfo(const Options& options) { return oneSection("processes"_L1, options); }
QJsonObject updateInfo(const Options& options) { return oneSection("updates"_L1, options); }
QJsonObject securityInfo(const Options& options) { return oneSection("security"_L1, options); }
QJsonObject thermalInfo(const Options& options) { return oneSection("thermal"_L1, options); }

qint64 duKB(const QString& path, const Options& options) {
  return parseFolderKB(Probe(options).sh(folderSizeCommand(path)));
}

}  // namespace vantora::Diagnostics
