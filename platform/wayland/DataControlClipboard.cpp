#include "platform/wayland/DataControlClipboard.h"

#include <fcntl.h>
#include <unistd.h>

#include <QRandomGenerator>
#include <QStringList>
#include <algorithm>
#include <cstring>
#include <list>
#include <utility>

#include "base/Characters.h"
#include "base/ThreadAffinity.h"
#include "platform/TextPipes.h"
#include "platform/wayland/DataControlProtocol.h"
#include "platform/wayland/WaylandConnection.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Offers of which the compositor has not told yet what they are; it tells of each before it makes the next one.
constexpr std::size_t kMaxNewOffers = 8;
// Sources that the compositor has not ended yet; it ends each with the next one.
constexpr std::size_t kMaxSources = 8;

class WaylandClipboard final : public DataControlClipboard {
 public:
  WaylandClipboard(const QString& socket, std::chrono::milliseconds timeout)
      : timeout_(timeout),
        connection_(socket, {.opened = [this](wl_display* display) { opened(display); }, .lost = [this] { lost(); }}) {
    settingTimeout_.setSingleShot(true);
    QObject::connect(&settingTimeout_, &QTimer::timeout, &context_, [this] { settingFailed(); });
  }
  ~WaylandClipboard() override {
    availableChanged_ = nullptr;
    done_ = nullptr;
  }

  bool available() const override { return available_; }
  void setAvailableHandler(std::function<void()> handler) override { availableChanged_ = std::move(handler); }
  qint64 changeCount() const override { return changeCount_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }

  void setText(const QString& text, std::function<void(qint64)> done) override {
    affinity_.check("DataControlClipboard::setText");
    if (!available_ || utf8Length(text) > kMaxTextBytes || (!setting() && sources_.size() >= kMaxSources)) {
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

  void requestText(TextCallback done) override {
    affinity_.check("DataControlClipboard::requestText");
    readings_.add(std::move(done));
  }

 private:
  struct Source {
    wl_proxy* proxy;
    QString text;
    QByteArray mark;  // A format of its own, by which its offer is recognised.
  };
  struct Offer {
    wl_proxy* proxy = nullptr;
    QStringList formats;  // Of plain text.
    QByteArray mark;
  };

  static WaylandClipboard& self(void* data) { return *static_cast<WaylandClipboard*>(data); }
  bool setting() const { return done_ != nullptr; }

  // The connection.

  void opened(wl_display* display) {
    static constexpr wl_registry_listener kListener{
        .global = [](void* data, wl_registry*, std::uint32_t name, const char* interface,
                     std::uint32_t) { self(data).offered(name, interface); },
        .global_remove = [](void* data, wl_registry*, std::uint32_t name) { self(data).withdrawn(name); }};
    display_ = display;
    registry_ = wl_display_get_registry(display);
    wl_registry_add_listener(registry_, &kListener, this);
    afterReplies([this] { prepare(); });
  }

  void lost() {
    forgetDevice();
    destroyProxy(manager_, DataControlProtocol::destroyManager);
    if (seat_ != nullptr) wl_seat_destroy(seat_);
    if (callback_ != nullptr) wl_callback_destroy(callback_);
    if (registry_ != nullptr) wl_registry_destroy(registry_);
    manager_ = nullptr;
    seat_ = nullptr;
    callback_ = nullptr;
    registry_ = nullptr;
    protocol_ = nullptr;
  }

  // Calls `next` when the compositor has replied to everything so far.
  void afterReplies(std::function<void()> next) {
    static constexpr wl_callback_listener kListener{.done = [](void* data, wl_callback* callback, std::uint32_t) {
      WaylandClipboard& clipboard = self(data);
      wl_callback_destroy(callback);
      clipboard.callback_ = nullptr;
      std::exchange(clipboard.next_, nullptr)();
    }};
    if (callback_ != nullptr) wl_callback_destroy(callback_);
    next_ = std::move(next);
    callback_ = wl_display_sync(display_);
    wl_callback_add_listener(callback_, &kListener, this);
  }

  void offered(std::uint32_t name, const char* interface) {
    const DataControlProtocol& ext = DataControlProtocol::ext();
    const DataControlProtocol& wlr = DataControlProtocol::wlr();
    if (std::strcmp(interface, wl_seat_interface.name) == 0 && seat_ == nullptr) {
      seatName_ = name;
      seat_ = static_cast<wl_seat*>(wl_registry_bind(registry_, name, &wl_seat_interface, 1));
    } else if (std::strcmp(interface, ext.manager.name) == 0 && protocol_ != &ext) {
      takeManager(name, ext);
    } else if (std::strcmp(interface, wlr.manager.name) == 0 && protocol_ == nullptr) {
      takeManager(name, wlr);
    }
    if (prepared_) prepare();
  }

  void takeManager(std::uint32_t name, const DataControlProtocol& protocol) {
    if (device_ != nullptr) return;  // Content with the other one.
    destroyProxy(manager_, DataControlProtocol::destroyManager);
    protocol_ = &protocol;
    manager_ = static_cast<wl_proxy*>(wl_registry_bind(registry_, name, &protocol.manager, 1));
  }

  void withdrawn(std::uint32_t name) {
    if (seat_ != nullptr && name == seatName_) connection_.reopen();
  }

  // Once the compositor has named everything it offers.
  void prepare() {
    prepared_ = true;
    if (manager_ == nullptr || seat_ == nullptr || device_ != nullptr) return;
    static constexpr DataControlProtocol::DeviceEvents kEvents{
        .dataOffer = [](void* data, wl_proxy*, wl_proxy* offer) { self(data).introduced(offer); },
        .selection = [](void* data, wl_proxy*, wl_proxy* offer) { self(data).selected(offer); },
        .finished = [](void* data, wl_proxy*) { self(data).connection_.reopen(); },
        .primarySelection = [](void* data, wl_proxy*, wl_proxy*) { self(data).forgetNewOffers(); }};
    device_ =
        wl_proxy_marshal_flags(manager_, DataControlProtocol::getDataDevice, &protocol_->device, 1, 0, nullptr, seat_);
    listen(device_, kEvents, this);
    // The present selection comes with the device.
    afterReplies([this] {
      connection_.confirm();
      known_ = true;
      wasKnown_ = true;
      setAvailable(true);
    });
  }

  void forgetDevice() {
    forgetNewOffers();
    destroyProxy(std::exchange(current_, {}).proxy, DataControlProtocol::destroyOffer);
    for (const Source& source : std::exchange(sources_, {})) {
      destroyProxy(source.proxy, DataControlProtocol::destroySource);
    }
    destroyProxy(std::exchange(device_, nullptr), DataControlProtocol::destroyDevice);
    known_ = false;
    prepared_ = false;
    ours_ = false;
    readings_.failAll();
    settingFailed();
    setAvailable(false);
  }

  void setAvailable(bool available) {
    if (std::exchange(available_, available) == available) return;
    if (const auto handler = availableChanged_) handler();
  }

  // Offers of other programs, and those of this one.

  void introduced(wl_proxy* offer) {
    static constexpr DataControlProtocol::OfferEvents kEvents{
        .offer = [](void* data, wl_proxy* each, const char* format) { self(data).hasFormat(each, format); }};
    if (newOffers_.size() >= kMaxNewOffers) forgetNewOffers();
    listen(offer, kEvents, this);
    newOffers_.push_back({.proxy = offer, .formats = {}, .mark = {}});
  }

  void hasFormat(wl_proxy* proxy, const char* name) {
    const auto offer =
        std::find_if(newOffers_.begin(), newOffers_.end(), [proxy](const Offer& each) { return each.proxy == proxy; });
    if (offer == newOffers_.end()) return;
    if (!sources_.empty() && sources_.back().mark == name) offer->mark = name;
    const QString format = QString::fromUtf8(name);
    if (textFormats().contains(format) && !offer->formats.contains(format)) offer->formats += format;
  }

  void selected(wl_proxy* proxy) {
    destroyProxy(std::exchange(current_, {}).proxy, DataControlProtocol::destroyOffer);
    const auto offer =
        std::find_if(newOffers_.begin(), newOffers_.end(), [proxy](const Offer& each) { return each.proxy == proxy; });
    if (offer != newOffers_.end()) current_ = std::exchange(*offer, {});
    forgetNewOffers();
    ours_ = !sources_.empty() && !current_.mark.isEmpty() && current_.mark == sources_.back().mark;
    if (ours_) return stored();
    // The first one is the present content, a change only if it came while no compositor was there to tell.
    if (proxy == nullptr || !(known_ || wasKnown_)) return;
    ++changeCount_;
    if (changed_) changed_();
  }

  void forgetNewOffers() {
    for (const Offer& offer : std::exchange(newOffers_, {})) {
      destroyProxy(offer.proxy, DataControlProtocol::destroyOffer);
    }
  }

  void beginReading(quint64 turn) {
    if (!available_) return readings_.finish(turn, {});
    if (ours_) return readings_.finish(turn, {.text = sources_.back().text});
    const auto format = std::find_if(textFormats().begin(), textFormats().end(),
                                     [this](const QString& each) { return current_.formats.contains(each); });
    if (format == textFormats().end()) return readings_.finish(turn, {.text = QString()});
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) return readings_.finish(turn, {});
    FileDescriptor out(ends[0]);
    const FileDescriptor in(ends[1]);
    wl_proxy_marshal_flags(current_.proxy, DataControlProtocol::receive, nullptr, 1, 0, format->toUtf8().constData(),
                           in.get());
    connection_.flush();
    readings_.read(turn, std::move(out), *format);
  }

  // Texts that are set here.

  void select(const QString& text) {
    static constexpr DataControlProtocol::SourceEvents kEvents{
        .send = [](void* data, wl_proxy* source, const char* format,
                   int descriptor) { self(data).send(source, format, FileDescriptor(descriptor)); },
        .cancelled = [](void* data, wl_proxy* source) { self(data).cancelled(source); }};
    wl_proxy* const source =
        wl_proxy_marshal_flags(manager_, DataControlProtocol::createDataSource, &protocol_->source, 1, 0, nullptr);
    listen(source, kEvents, this);
    sources_.push_back(
        {source, text, "application/x-vantora-" + QByteArray::number(QRandomGenerator::system()->generate64(), 16)});
    for (const QString& format : textFormats()) offerFormat(source, format.toUtf8());
    offerFormat(source, sources_.back().mark);
    wl_proxy_marshal_flags(device_, DataControlProtocol::setSelection, nullptr, 1, 0, source);
    connection_.flush();
  }

  static void offerFormat(wl_proxy* source, const QByteArray& format) {
    wl_proxy_marshal_flags(source, DataControlProtocol::offerFormat, nullptr, 1, 0, format.constData());
  }

  void stored() {
    settingTimeout_.stop();
    if (const auto done = std::exchange(done_, nullptr)) done(++changeCount_);
  }

  void settingFailed() {
    settingTimeout_.stop();
    if (const auto done = std::exchange(done_, nullptr)) done(changeCount_);
  }

  auto placeOf(wl_proxy* source) {
    return std::find_if(sources_.begin(), sources_.end(),
                        [source](const Source& each) { return each.proxy == source; });
  }

  void send(wl_proxy* proxy, const char* format, FileDescriptor pipe) {
    const auto source = placeOf(proxy);
    if (source == sources_.end()) return;
    const QString wanted = QString::fromUtf8(format);
    if (textFormats().contains(wanted)) writings_.add(std::move(pipe), encodedText(source->text, wanted));
  }

  void cancelled(wl_proxy* proxy) {
    const auto source = placeOf(proxy);
    if (source == sources_.end()) return;
    const bool newest = std::next(source) == sources_.end();
    destroyProxy(proxy, DataControlProtocol::destroySource);
    sources_.erase(source);
    if (!newest) return;
    ours_ = false;
    settingFailed();
  }

  ThreadAffinity affinity_;
  const std::chrono::milliseconds timeout_;
  QObject context_;
  std::function<void()> changed_;
  std::function<void()> availableChanged_;
  qint64 changeCount_ = 0;
  bool available_ = false;

  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  wl_callback* callback_ = nullptr;
  std::function<void()> next_;  // At the callback.
  bool prepared_ = false;       // The compositor has named what it offers.
  const DataControlProtocol* protocol_ = nullptr;
  wl_proxy* manager_ = nullptr;
  wl_seat* seat_ = nullptr;
  std::uint32_t seatName_ = 0;
  wl_proxy* device_ = nullptr;

  bool known_ = false;     // The content of the clipboard is known.
  bool wasKnown_ = false;  // It was in this or an earlier connection.
  std::list<Offer> newOffers_;
  Offer current_;
  // The newest one is the last one; earlier ones have not been ended by the compositor yet.
  std::list<Source> sources_;
  bool ours_ = false;  // The clipboard holds the text of the newest source.
  std::function<void(qint64)> done_;
  QTimer settingTimeout_;
  TextReadings readings_{[this](quint64 turn) { beginReading(turn); }, {.timeout = timeout_}};
  TextWritings writings_;
  WaylandConnection connection_;  // Last: it ends first.
};

}  // namespace

std::unique_ptr<DataControlClipboard> makeDataControlClipboard(const QString& socket,
                                                               std::chrono::milliseconds timeout) {
  return std::make_unique<WaylandClipboard>(socket, timeout);
}

}  // namespace vantora
