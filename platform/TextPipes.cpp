#include "platform/TextPipes.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <utility>

#include "base/Characters.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr std::size_t kPiece = 64UL * 1024;
// Pieces per event, so that a long text does not keep the thread.
constexpr int kPiecesAtOnce = 16;

// The only one of the formats that is not UTF-8.
bool isLatin1(const QString& format) { return format == "STRING"_L1; }

void makeNonBlocking(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags >= 0) (void)::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
}

bool isTemporary(int error) { return error == EAGAIN || error == EINTR; }

}  // namespace

const QStringList& textFormats() {
  static const QStringList formats{u"text/plain;charset=utf-8"_s, u"text/plain"_s, u"UTF8_STRING"_s, u"STRING"_s,
                                   u"TEXT"_s};
  return formats;
}

QByteArray encodedText(const QString& text, const QString& format) {
  return isLatin1(format) ? text.toLatin1() : text.toUtf8();
}

TextReadings::TextReadings(Begin begin, Limits limits) : begin_(std::move(begin)), limits_(limits) {
  timeout_.setSingleShot(true);
  QObject::connect(&timeout_, &QTimer::timeout, &context_, [this] { finish(turn_, {}); });
}

void TextReadings::add(Clipboard::TextCallback done) {
  waiting_.push_back(std::move(done));
  if (waiting_.size() == 1) QTimer::singleShot(0, &context_, [this] { next(); });
}

void TextReadings::next() {
  if (busy_ || waiting_.empty()) return;
  busy_ = true;
  timeout_.start(limits_.timeout);
  begin_(++turn_);
}

void TextReadings::read(quint64 turn, FileDescriptor pipe, const QString& format) {
  if (!isCurrent(turn)) return;
  if (pipe.get() < 0) return finish(turn, {});
  makeNonBlocking(pipe.get());
  pipe_ = std::move(pipe);
  format_ = format;
  notifier_.reset(new QSocketNotifier(pipe_.get(), QSocketNotifier::Read));
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, &context_, [this] { drain(); });
}

void TextReadings::drain() {
  std::array<char, kPiece> piece;
  for (int i = 0; i < kPiecesAtOnce && notifier_; ++i) {
    const ssize_t count = ::read(pipe_.get(), piece.data(), piece.size());
    if (count < 0 && isTemporary(errno)) return;
    if (count < 0) return finish(turn_, {});
    if (count == 0) return finish(turn_, decoded());
    length_ += count;
    if (length_ <= limits_.bytes) {
      bytes_.append(piece.data(), count);
    } else {
      bytes_ = {};
      if (length_ >= limits_.counted) return finish(turn_, {.tooLong = length_});
    }
  }
}

ClipboardReading TextReadings::decoded() const {
  if (length_ > limits_.bytes) return {.tooLong = length_};
  QString text = isLatin1(format_) ? QString::fromLatin1(bytes_) : QString::fromUtf8(bytes_);
  // Replaced bytes make it longer.
  const qint64 length = utf8Length(text);
  if (length > limits_.bytes) return {.tooLong = length};
  return {.text = std::move(text)};
}

void TextReadings::finish(quint64 turn, const ClipboardReading& reading) {
  if (!isCurrent(turn)) return;
  timeout_.stop();
  busy_ = false;
  notifier_.reset();
  pipe_.reset();
  bytes_ = {};
  length_ = 0;
  const auto done = std::move(waiting_.front());
  waiting_.pop_front();
  if (!waiting_.empty()) QTimer::singleShot(0, &context_, [this] { next(); });
  done(reading);
}

void TextReadings::failAll() {
  if (waiting_.empty()) return;
  timeout_.stop();
  busy_ = false;
  ++turn_;
  notifier_.reset();
  pipe_.reset();
  bytes_ = {};
  length_ = 0;
  QTimer::singleShot(0, &context_, [failed = std::exchange(waiting_, {})] {
    for (const auto& done : failed) done({});
  });
}

void TextWritings::add(FileDescriptor pipe, const QByteArray& bytes, Done done) {
  if (writings_.size() >= kMaxAtOnce || pipe.get() < 0) {
    pipe.reset();
    if (done) done(false);
    return;
  }
  makeNonBlocking(pipe.get());
  const Place place = writings_.insert(writings_.end(), {std::move(pipe), bytes, std::move(done)});
  place->timeout = std::make_unique<QTimer>();
  place->timeout->setSingleShot(true);
  QObject::connect(place->timeout.get(), &QTimer::timeout, &context_, [this, place] { end(place, false); });
  place->timeout->start(timeout_);
  place->notifier.reset(new QSocketNotifier(place->pipe.get(), QSocketNotifier::Write));
  QObject::connect(place->notifier.get(), &QSocketNotifier::activated, &context_, [this, place] { proceed(place); });
}

void TextWritings::proceed(Place place) {
  for (int i = 0; i < kPiecesAtOnce; ++i) {
    const qsizetype left = place->bytes.size() - place->written;
    if (left == 0) return end(place, true);
    const ssize_t count = ::write(place->pipe.get(), place->bytes.constData() + place->written,
                                  std::min(static_cast<std::size_t>(left), kPiece));
    if (count < 0 && isTemporary(errno)) return;
    if (count < 0) return end(place, false);
    place->written += count;
  }
}

void TextWritings::end(Place place, bool whole) {
  // Its timer may be what calls.
  if (place->timeout) place->timeout.release()->deleteLater();
  const Done done = std::move(place->done);
  writings_.erase(place);
  if (done) done(whole);
}

}  // namespace vantora
