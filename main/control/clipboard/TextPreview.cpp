#include "main/control/clipboard/TextPreview.h"

#include <QTextBoundaryFinder>

namespace vantora {
namespace {

constexpr int kShownCharacters = 20;

}  // namespace

QString textPreview(const QString& text) {
  // The finder examines its whole input, so it gets a prefix that grows until it has enough characters.
  for (qsizetype length = 256;; length *= 4) {
    const bool whole = length >= text.size();
    const QStringView beginning = whole ? QStringView(text) : QStringView(text).first(length);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, beginning.data(), beginning.size());
    qsizetype shown = 0;
    for (int count = 0; count < kShownCharacters && shown >= 0 && shown < beginning.size(); ++count) {
      shown = finder.toNextBoundary();
    }
    // A boundary at the very end of a prefix may not be one of the whole text.
    if (shown >= 0 && shown < beginning.size()) return text.first(shown) + QStringLiteral("...");
    if (whole) return text;
  }
}

}  // namespace vantora
