#include "platform/wayland/DataControlSelection.h"

#include <fcntl.h>
#include <unistd.h>

#include <QRandomGenerator>
#include <algorithm>
#include <utility>

#include "base/Characters.h"

namespace vantora {
namespace {

// Sources that the compositor has not ended yet; it ends each with the next one.
constexpr std::size_t kMaxSources = 8;
constexpr char kMark[] = "application/x-vantora-";

DataControlSelection& selfOf(void* data) { return *static_cast<DataControlSelection*>(data); }

void offerFormat(wl_proxy* source, const QByteArray& format) {
  wl_proxy_marshal_flags(source, DataControlProtocol::offerFormat, nullptr, wl_proxy_get_version(source), 0,
                         format.constData());
}

}  // namespace

void DataControlSelection::Offer::add(const char* format) {
  const QByteArray name(format);
  if (name.startsWith(kMark)) mark = name;
  if (name == kConfidentialFormat) confidential = true;
  const QString text = QString::fromUtf8(name);
  if (textFormats().contains(text) && !formats.contains(text)) formats += text;
}

DataControlSelection::DataControlSelection(DataControlProtocol::DeviceRequest request,
                                           std::chrono::milliseconds timeout, std::function<void()> flush)
    : request_(request), timeout_(timeout), flush_(std::move(flush)) {
  settingTimeout_.setSingleShot(true);
  QObject::connect(&settingTimeout_, &QTimer::timeout, &context_, [this] { settingFailed(); });
}

void DataControlSelection::open(const DataControlProtocol& protocol, wl_proxy* manager, wl_proxy* device) {
  protocol_ = &protocol;
  manager_ = manager;
  device_ = device;
}

void DataControlSelection::setKnown() {
  known_ = true;
  wasKnown_ = true;
}

void DataControlSelection::close() {
  destroyProxy(std::exchange(current_, {}).proxy, DataControlProtocol::destroyOffer);
  for (const Source& source : std::exchange(sources_, {})) {
    destroyProxy(source.proxy, DataControlProtocol::destroySource);
  }
  device_ = nullptr;
  known_ = false;
  ours_ = false;
  readings_.failAll();
  settingFailed();
}

void DataControlSelection::setText(const QString& text, std::function<void(qint64)> done) {
  affinity_.check("DataControlSelection::setText");
  if (!known_ || utf8Length(text) > kMaxTextBytes || (!setting() && sources_.size() >= kMaxSources)) {
    return done(changeCount_);
  }
  const auto before = std::exchange(done_, std::move(done));
  settingTimeout_.start(timeout_);
  // The content is requested later: a selection that is not confirmed yet gets the newer text.
  if (before) {
    sources_.back().text = text;
    before(changeCount_);  // Never set: replaced by this text.
  } else {
    select(text);
  }
}

void DataControlSelection::requestText(TextCallback done) {
  affinity_.check("DataControlSelection::requestText");
  readings_.add([this, done = std::move(done)](ClipboardReading reading) {
    reading.confidential = reading.text && current_.confidential;
    done(reading);
  });
}

void DataControlSelection::selected(const Offer& offer) {
  destroyProxy(std::exchange(current_, offer).proxy, DataControlProtocol::destroyOffer);
  ours_ = !sources_.empty() && !current_.mark.isEmpty() && current_.mark == sources_.back().mark;
  if (ours_) return stored();
  // The first one is the present content, a change only if it came while no compositor was there to tell.
  if (offer.proxy == nullptr || !(known_ || wasKnown_)) return;
  ++changeCount_;
  if (changed_) changed_();
}

void DataControlSelection::beginReading(quint64 turn) {
  if (!known_) return readings_.finish(turn, {});
  if (ours_) return readings_.finish(turn, {.text = sources_.back().text});
  const auto format = std::find_if(textFormats().begin(), textFormats().end(),
                                   [this](const QString& each) { return current_.formats.contains(each); });
  if (format == textFormats().end()) {
    return readings_.finish(turn, {.text = QString(), .otherContent = current_.proxy != nullptr});
  }
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC) != 0) return readings_.finish(turn, {});
  FileDescriptor out(ends[0]);
  const FileDescriptor in(ends[1]);
  wl_proxy_marshal_flags(current_.proxy, DataControlProtocol::receive, nullptr, wl_proxy_get_version(manager_), 0,
                         format->toUtf8().constData(), in.get());
  flush_();
  readings_.read(turn, std::move(out), *format);
}

void DataControlSelection::select(const QString& text) {
  static constexpr DataControlProtocol::SourceEvents kEvents{
      .send = [](void* data, wl_proxy* source, const char* format,
                 int descriptor) { selfOf(data).send(source, format, FileDescriptor(descriptor)); },
      .cancelled = [](void* data, wl_proxy* source) { selfOf(data).cancelled(source); }};
  wl_proxy* const source = wl_proxy_marshal_flags(manager_, DataControlProtocol::createDataSource, &protocol_->source,
                                                  wl_proxy_get_version(manager_), 0, nullptr);
  listen(source, kEvents, this);
  sources_.push_back({source, text, kMark + QByteArray::number(QRandomGenerator::system()->generate64(), 16)});
  for (const QString& format : textFormats()) offerFormat(source, format.toUtf8());
  offerFormat(source, sources_.back().mark);
  wl_proxy_marshal_flags(device_, request_, nullptr, wl_proxy_get_version(manager_), 0, source);
  flush_();
}

void DataControlSelection::stored() {
  settingTimeout_.stop();
  if (const auto done = std::exchange(done_, nullptr)) done(++changeCount_);
}

void DataControlSelection::settingFailed() {
  settingTimeout_.stop();
  if (const auto done = std::exchange(done_, nullptr)) done(changeCount_);
}

std::list<DataControlSelection::Source>::iterator DataControlSelection::placeOf(wl_proxy* source) {
  return std::find_if(sources_.begin(), sources_.end(), [source](const Source& each) { return each.proxy == source; });
}

void DataControlSelection::send(wl_proxy* proxy, const char* format, FileDescriptor pipe) {
  const auto source = placeOf(proxy);
  if (source == sources_.end()) return;
  const QString wanted = QString::fromUtf8(format);
  if (!textFormats().contains(wanted)) return;
  writings_.add(std::move(pipe), encodedText(source->text, wanted), [this](bool whole) {
    if (whole && interest_) interest_(Interest::text);
  });
}

void DataControlSelection::cancelled(wl_proxy* proxy) {
  const auto source = placeOf(proxy);
  if (source == sources_.end()) return;
  const bool newest = std::next(source) == sources_.end();
  destroyProxy(proxy, DataControlProtocol::destroySource);
  sources_.erase(source);
  if (!newest) return;
  ours_ = false;
  settingFailed();
}

}  // namespace vantora
