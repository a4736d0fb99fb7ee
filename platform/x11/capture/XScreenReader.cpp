#include "platform/x11/capture/XScreenReader.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>
#include <X11/extensions/Xdamage.h>
#include <X11/extensions/Xfixes.h>
#include <X11/extensions/Xrandr.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>

#include <algorithm>

#include "platform/x11/capture/PixelConverter.h"

namespace vantora::x11 {
namespace {

// Of the pixels that are returned.
constexpr int kBytesPerPixel = 4;
// Required in Xlib's images, but of no effect on pixels.
constexpr int kBitmapUnit = 32;
// Changes are widened to multiples of this, so that many small ones become few.
constexpr int kGrid = 16;
// Each band of rows is one question to the server.
constexpr std::size_t kMaxBands = 8;

struct Band {
  int top = 0;
  int bottom = 0;  // Exclusive.
};

Area intersected(const Area& a, const Area& b) {
  const int left = std::max(a.x, b.x);
  const int top = std::max(a.y, b.y);
  return {left, top, std::min(a.x + a.width, b.x + b.width) - left, std::min(a.y + a.height, b.y + b.height) - top};
}

Area onGrid(const Area& area, int width, int height) {
  const int left = area.x / kGrid * kGrid;
  const int top = area.y / kGrid * kGrid;
  const auto up = [](int end) { return (end + kGrid - 1) / kGrid * kGrid; };
  return {left, top, std::min(up(area.x + area.width), width) - left, std::min(up(area.y + area.height), height) - top};
}

// Adds `area`, joined with the last ones if they lie side by side.
void add(Area area, std::vector<Area>& areas) {
  while (!areas.empty()) {
    const Area& last = areas.back();
    if (last.y != area.y || last.height != area.height || area.x > last.x + last.width ||
        last.x > area.x + area.width) {
      break;
    }
    const int right = std::max(last.x + last.width, area.x + area.width);
    area.x = std::min(last.x, area.x);
    area.width = right - area.x;
    areas.pop_back();
  }
  areas.push_back(area);
}

// One rectangle instead of many that fill half of it, as scrolling text makes them: one pass over it is faster than
// many short ones.
void joinDense(std::vector<Area>& areas) {
  if (areas.size() < 2) return;
  Area around = areas.front();
  std::int64_t filled = 0;
  for (const Area& each : areas) {
    const int right = std::max(around.x + around.width, each.x + each.width);
    const int bottom = std::max(around.y + around.height, each.y + each.height);
    around.x = std::min(around.x, each.x);
    around.y = std::min(around.y, each.y);
    around.width = right - around.x;
    around.height = bottom - around.y;
    filled += std::int64_t{each.width} * each.height;
  }
  if (2 * filled >= std::int64_t{around.width} * around.height) areas = {around};
}

// The rows that `areas`, ordered from the top, touch.
std::vector<Band> bandsOf(const std::vector<Area>& areas) {
  std::vector<Band> bands;
  for (const Area& area : areas) {
    if (!bands.empty() && area.y <= bands.back().bottom) {
      bands.back().bottom = std::max(bands.back().bottom, area.y + area.height);
    } else {
      bands.push_back({area.y, area.y + area.height});
    }
  }
  if (bands.size() > kMaxBands) bands = {{bands.front().top, bands.back().bottom}};
  return bands;
}

// Shared with the server. The segment is removed by the system with its last user, however this process ends.
class SharedMemory {
 public:
  explicit SharedMemory(std::size_t bytes) : bytes_(bytes) {
    info_.shmid = ::shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (info_.shmid < 0) return;
    void* const memory = ::shmat(info_.shmid, nullptr, 0);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the value that the system call returns.
    if (memory != reinterpret_cast<void*>(-1)) info_.shmaddr = static_cast<char*>(memory);
  }
  ~SharedMemory() {
    endSharing();
    if (info_.shmaddr != nullptr) ::shmdt(info_.shmaddr);
  }
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;

  XShmSegmentInfo& info() { return info_; }
  char* data() const { return info_.shmaddr; }
  // Nobody else can attach it any more.
  void endSharing() {
    if (info_.shmid >= 0) ::shmctl(info_.shmid, IPC_RMID, nullptr);
    info_.shmid = -1;
  }
  void dropPages() const { (void)::madvise(info_.shmaddr, bytes_, MADV_REMOVE); }

 private:
  const std::size_t bytes_;
  XShmSegmentInfo info_{.shmseg = 0, .shmid = -1, .shmaddr = nullptr, .readOnly = False};
};

// Of the root window.
PixelLayout layoutOf(Display* connection) {
  const int screen = DefaultScreen(connection);
  const Visual* const visual = DefaultVisual(connection, screen);
  PixelLayout layout{.bitsPerPixel = 0,
                     .rowPadding = 0,
                     .byteOrder = ImageByteOrder(connection) == LSBFirst ? ByteOrder::leastSignificantFirst
                                                                         : ByteOrder::mostSignificantFirst,
                     .red = static_cast<std::uint32_t>(visual->red_mask),
                     .green = static_cast<std::uint32_t>(visual->green_mask),
                     .blue = static_cast<std::uint32_t>(visual->blue_mask)};
  int count = 0;
  XPixmapFormatValues* const formats = XListPixmapFormats(connection, &count);
  for (int i = 0; formats != nullptr && i < count; ++i) {
    if (formats[i].depth != DefaultDepth(connection, screen)) continue;
    layout.bitsPerPixel = formats[i].bits_per_pixel;
    layout.rowPadding = formats[i].scanline_pad;
  }
  if (formats != nullptr) XFree(formats);
  return layout;
}

// Assigning an empty list would keep the memory.
void drop(std::vector<std::uint8_t>& bytes) { bytes = std::vector<std::uint8_t>(); }

class Reader final : public XScreenReader {
 public:
  Reader(Display* connection, const PixelLayout& layout)
      : connection_(connection), root_(DefaultRootWindow(connection)), layout_(layout) {
    if (!layout_.isBgrx()) converter_ = std::make_unique<PixelConverter>(layout_);
    XSelectInput(connection_, root_, StructureNotifyMask);
    int error = 0;
    int major = 0;
    int minor = 0;
    if (XRRQueryExtension(connection_, &randrEvents_, &error) && XRRQueryVersion(connection_, &major, &minor)) {
      randr_ = major > 1 || (major == 1 && minor >= 5);
      if (randr_) XRRSelectInput(connection_, root_, RRScreenChangeNotifyMask);
    }
    if (XFixesQueryExtension(connection_, &major, &error) &&
        XDamageQueryExtension(connection_, &damageEvents_, &error)) {
      damage_ = XDamageCreate(connection_, root_, XDamageReportNonEmpty);
      region_ = XFixesCreateRegion(connection_, nullptr, 0);
    }
    updateMonitors();
  }
  ~Reader() override {
    detach();
    if (damage_ != None) XDamageDestroy(connection_, damage_);
    if (region_ != None) XFixesDestroyRegion(connection_, region_);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  int monitorCount() override {
    processEvents();
    return static_cast<int>(monitors_.size());
  }

  void select(int monitor) override {
    name_ = monitors_[static_cast<std::size_t>(monitor)].name;
    followMonitor();
    whole_ = true;
  }

  Changes read() override;

  Area area() const override { return area_; }
  const std::uint8_t* pixels() const override { return converter_ ? converted_.data() : serversPixels(); }
  int stride() const override { return area_.width * kBytesPerPixel; }
  void release() override {
    if (shared_) shared_->dropPages();
    drop(own_);
    drop(converted_);
  }

 private:
  struct Monitor {
    Atom name = None;
    Area area;
  };

  int screen() const { return DefaultScreen(connection_); }
  int serversStride() const { return layout_.stride(area_.width); }
  const std::uint8_t* serversPixels() const {
    return shared_ ? reinterpret_cast<const std::uint8_t*>(shared_->data()) : own_.data();
  }
  void processEvents();
  void updateMonitors();
  void followMonitor();
  std::vector<Area> takeDamage();
  bool readBand(const Band& band);
  void convertBand(const Band& band);
  void attach();
  void detach();

  Display* const connection_;
  const Window root_;
  const PixelLayout layout_;
  // Null where the server's pixels need no conversion.
  std::unique_ptr<PixelConverter> converter_;
  int randrEvents_ = 0;
  int damageEvents_ = 0;
  bool randr_ = false;
  Damage damage_ = None;
  XserverRegion region_ = None;

  std::vector<Monitor> monitors_;
  Atom name_ = None;
  Area area_;
  // The server reported changes that were not taken.
  bool changed_ = false;
  // All of the monitor has changed.
  bool whole_ = true;
  std::unique_ptr<SharedMemory> shared_;
  bool mayShare_ = true;
  std::vector<std::uint8_t> own_;
  std::vector<std::uint8_t> converted_;
};

void Reader::processEvents() {
  bool newLayout = false;
  while (XPending(connection_) > 0) {
    XEvent event;
    XNextEvent(connection_, &event);
    if (damage_ != None && event.type == damageEvents_ + XDamageNotify) {
      changed_ = true;
    } else if (randr_ && event.type == randrEvents_ + RRScreenChangeNotify) {
      XRRUpdateConfiguration(&event);
      newLayout = true;
    } else if (event.type == ConfigureNotify) {
      newLayout = true;
    }
  }
  if (!newLayout) return;
  updateMonitors();
  followMonitor();
}

void Reader::updateMonitors() {
  monitors_.clear();
  XWindowAttributes attributes;
  if (!XGetWindowAttributes(connection_, root_, &attributes)) return;
  const Area whole{0, 0, attributes.width, attributes.height};
  if (!randr_) {
    monitors_.push_back({None, whole});
    return;
  }
  int count = 0;
  XRRMonitorInfo* const monitors = XRRGetMonitors(connection_, root_, True, &count);
  if (monitors == nullptr) return;
  for (int i = 0; i < count; ++i) {
    const XRRMonitorInfo& each = monitors[i];
    monitors_.push_back({each.name, intersected({each.x, each.y, each.width, each.height}, whole)});
  }
  XRRFreeMonitors(monitors);
}

void Reader::followMonitor() {
  const auto found =
      std::find_if(monitors_.begin(), monitors_.end(), [this](const Monitor& each) { return each.name == name_; });
  const Area area = found != monitors_.end() && !found->area.isEmpty() ? found->area : Area{};
  if (area == area_) return;
  detach();
  area_ = area;
  whole_ = true;
}

XScreenReader::Changes Reader::read() {
  processEvents();
  if (area_.isEmpty()) return {.failed = true, .areas = {}};
  if (!changed_ && !whole_ && damage_ != None) return {};
  Changes changes;
  // The reports are cleared before the pixels are read: a change in between is reported again.
  changes.areas = takeDamage();
  if (whole_ || damage_ == None) changes.areas = {{0, 0, area_.width, area_.height}};
  attach();
  for (const Band& band : bandsOf(changes.areas)) {
    if (!readBand(band)) {
      whole_ = true;
      return {.failed = true, .areas = {}};
    }
    if (converter_) convertBand(band);
  }
  whole_ = changed_ = false;
  return changes;
}

// The changes of the monitor since the last call. The server's rectangles are ordered from the top.
std::vector<Area> Reader::takeDamage() {
  if (damage_ == None) return {};
  XDamageSubtract(connection_, damage_, None, region_);
  int count = 0;
  XRectangle bounds;
  XRectangle* const rectangles = XFixesFetchRegionAndBounds(connection_, region_, &count, &bounds);
  std::vector<Area> areas;
  for (int i = 0; rectangles != nullptr && i < count; ++i) {
    const XRectangle& each = rectangles[i];
    Area inside = intersected({each.x, each.y, each.width, each.height}, area_);
    inside.x -= area_.x;
    inside.y -= area_.y;
    if (!inside.isEmpty()) add(onGrid(inside, area_.width, area_.height), areas);
  }
  if (rectangles != nullptr) XFree(rectangles);
  joinDense(areas);
  return areas;
}

bool Reader::readBand(const Band& band) {
  const int height = band.bottom - band.top;
  const std::size_t offset = static_cast<std::size_t>(band.top) * static_cast<std::size_t>(serversStride());
  char* const data = shared_ ? shared_->data() : reinterpret_cast<char*>(own_.data());
  XImage image{};
  image.width = area_.width;
  image.height = height;
  image.format = ZPixmap;
  image.data = data + offset;
  image.byte_order = image.bitmap_bit_order = ImageByteOrder(connection_);
  image.bitmap_unit = kBitmapUnit;
  image.bitmap_pad = layout_.rowPadding;
  image.bits_per_pixel = layout_.bitsPerPixel;
  image.depth = DefaultDepth(connection_, screen());
  image.bytes_per_line = serversStride();
  image.red_mask = layout_.red;
  image.green_mask = layout_.green;
  image.blue_mask = layout_.blue;
  if (!XInitImage(&image)) return false;
  if (shared_) {
    image.obdata = reinterpret_cast<char*>(&shared_->info());
    return XShmGetImage(connection_, root_, &image, area_.x, area_.y + band.top, AllPlanes) != 0;
  }
  return XGetSubImage(connection_, root_, area_.x, area_.y + band.top, static_cast<unsigned>(area_.width),
                      static_cast<unsigned>(height), AllPlanes, ZPixmap, &image, 0, 0) != nullptr;
}

void Reader::convertBand(const Band& band) {
  const std::uint8_t* from = serversPixels() + static_cast<std::ptrdiff_t>(band.top) * serversStride();
  std::uint8_t* to = converted_.data() + static_cast<std::ptrdiff_t>(band.top) * stride();
  for (int y = band.top; y < band.bottom; ++y, from += serversStride(), to += stride()) {
    converter_->convertRow(from, area_.width, to);
  }
}

void Reader::attach() {
  const std::size_t rows = static_cast<std::size_t>(area_.height);
  const std::size_t bytes = static_cast<std::size_t>(serversStride()) * rows;
  if (!shared_ && mayShare_) {
    shared_ = std::make_unique<SharedMemory>(bytes);
    // A server on another machine cannot attach it.
    mayShare_ = shared_->data() != nullptr && XShmQueryExtension(connection_) &&
                XShmAttach(connection_, &shared_->info()) && readBand({0, 1});
    shared_->endSharing();
    if (!mayShare_) shared_.reset();
  }
  if (!shared_) own_.resize(bytes);
  if (converter_) converted_.resize(static_cast<std::size_t>(stride()) * rows);
}

void Reader::detach() {
  if (shared_) XShmDetach(connection_, &shared_->info());
  shared_.reset();
  drop(own_);
  drop(converted_);
}

}  // namespace

std::unique_ptr<XScreenReader> XScreenReader::create(_XDisplay* connection) {
  const PixelLayout layout = layoutOf(connection);
  if (!layout.isConvertible()) return nullptr;
  return std::make_unique<Reader>(connection, layout);
}

}  // namespace vantora::x11
