#include "main/control/input/KeyQueue.h"

#include <algorithm>
#include <utility>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

// Between two steps the event loop handles what else has arrived.
constexpr auto kShortestPause = 1ms;
// While the desktop is not ready for keys.
constexpr auto kReadyPoll = 5ms;
// Keys after a text that are posted in one turn of the event loop.
constexpr int kKeysPerTurn = 64;

bool isControl(char32_t character) { return character < 0x20 || (character >= 0x7f && character < 0xa0); }

// Unpaired surrogates stay what they are.
std::u32string codePointsOf(const QString& text) {
  std::u32string points;
  for (const QChar unit : text) {
    if (unit.isLowSurrogate() && !points.empty() && QChar::isHighSurrogate(points.back())) {
      points.back() = QChar::surrogateToUcs4(static_cast<char16_t>(points.back()), unit.unicode());
    } else {
      points.push_back(unit.unicode());
    }
  }
  return points;
}

}  // namespace

void KeyQueue::key(std::uint16_t code, bool down, const KeyModifiers& modifiers) {
  const bool full = waitingKeys_ >= kMaxWaitingKeys;
  // A key whose release is lost would stay down; so many more are bounded by the number of keys.
  if (full && (down || !held_.contains(code))) return;
  if (down) {
    held_.insert(code);
  } else {
    held_.erase(code);
  }
  const Key key{.code = code, .down = down, .modifiers = modifiers};
  if (waiting_.empty() && input_.readyForKeys()) return post(key);
  waiting_.emplace_back(key);
  ++waitingKeys_;
  if (!timer_) runLater(kReadyPoll);
}

// A key position that this desktop does not have is skipped like an unknown name.
void KeyQueue::post(const Key& key) { (void)input_.key(key.code, key.down, key.modifiers); }

void KeyQueue::type(const QString& text, Answer answer) {
  const std::u32string points = codePointsOf(text);
  Text entry;
  entry.answer = std::move(answer);
  for (std::size_t at = 0; at < points.size(); ++at) {
    char32_t character = points[at];
    if (character == U'\r' && at + 1 < points.size() && points[at + 1] == U'\n') character = points[++at];
    ++entry.result.length;
    const bool skipped = isControl(character) && character != U'\n' && character != U'\t';
    if (!skipped && !QChar::isSurrogate(character)) entry.characters.push_back(character);
  }
  if (entry.result.length > kMaxTextLength) {
    entry.result.reason = u"too long"_s;
    return entry.answer(entry.result);
  }
  if (waitingTexts_ >= kMaxTexts || waitingLength_ + entry.result.length > kMaxWaitingLength) {
    entry.result.reason = u"too many"_s;
    return entry.answer(entry.result);
  }
  waitingLength_ += entry.result.length;
  ++waitingTexts_;
  waiting_.emplace_back(std::move(entry));
  if (!timer_) proceed();
}

void KeyQueue::proceed() {
  timer_.reset();
  for (int turns = 0; !waiting_.empty(); ++turns) {
    if (turns == kKeysPerTurn) return runLater(kShortestPause);
    if (const Key* const key = std::get_if<Key>(&waiting_.front())) {
      if (!input_.readyForKeys()) return runLater(kReadyPoll);
      post(*key);
      --waitingKeys_;
      waiting_.pop_front();
      continue;
    }
    if (const auto pause = typeStep(std::get<Text>(waiting_.front())))
      return runLater(std::max(*pause, kShortestPause));
    const Text ended = std::move(std::get<Text>(waiting_.front()));
    --waitingTexts_;
    waitingLength_ -= ended.result.length;
    waiting_.pop_front();
    ended.answer(ended.result);
  }
}

void KeyQueue::runLater(std::chrono::milliseconds delay) {
  timer_ = scheduler_.after(delay, [this] { proceed(); });
}

std::optional<std::chrono::milliseconds> KeyQueue::typeStep(Text& text) {
  const std::u32string_view rest = std::u32string_view(text.characters).substr(text.done);
  if (rest.empty()) return std::nullopt;
  const TypingStep step = input_.type(rest);
  if (!step.possible) {
    text.result.reason = u"desktop unavailable"_s;
    return std::nullopt;
  }
  text.done += step.taken;
  text.result.typed += step.typed;
  if (text.done >= text.characters.size()) return std::nullopt;
  return step.wait;
}

void KeyQueue::releaseAll() {
  timer_.reset();
  held_.clear();
  waitingKeys_ = waitingTexts_ = waitingLength_ = 0;
  auto dropped = std::exchange(waiting_, {});
  input_.releaseAll();
  for (auto& action : dropped) {
    Text* const text = std::get_if<Text>(&action);
    if (text == nullptr) continue;
    text->result.reason = u"control ended"_s;
    text->answer(text->result);
  }
}

}  // namespace vantora
