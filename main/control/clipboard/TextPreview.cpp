#include "main/control/clipboard/TextPreview.h"

#include <QTextBoundaryFinder>

namespace vantora {
namespace {

constexpr int kShownCharacters = 20;

}  // namespace

QString textPreview(const QString& text) {
  // The finder examines all it is given, so it gets a beginning that is enlarged until it shows enough characters.
  for (qsizetype length = 256;; length *= 4) {
    const bool whole = length >= text.size();
    const QStringView beginning = whole ? QStringView(text) : QStringView(text).first(length);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, beginning.data(), beginning.size());
    qsizetype shown = 0;
    for (int count = 0; count < kShownCharacters && shown >= 0 && shown < beginning.size(); ++count) {
      shown = finder.toNextBoundary();
    }
    // A boundary at the very end of a part may not be one of the whole.
    if (shown >= 0 && shown < beginning.size()) return text.first(shown) + QStringLiteral("...");
    if (whole) return text;
  }
}

}  // namespace vantora
