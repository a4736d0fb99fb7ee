// A VNC client for measurements: vnc_probe HOST PORT COLUMN ROW
//
// It asks for what an ordinary viewer does (Tight without loss, CopyRect, continuous updates where the server has them)
// and prints one line for each update: the wall-clock time in ms since 1970 when all of it was there, how many pixels
// it had, and the red (0 to 255) of the given pixel. It draws nothing. Ends with the connection.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/peers/TightDecoder.h"

namespace {

constexpr int kRaw = 0;
constexpr int kCopyRect = 1;
constexpr int kTight = 7;
constexpr int kDesktopSize = -223;
constexpr int kLastRect = -224;
constexpr int kFence = -312;
constexpr int kContinuousUpdates = -313;
constexpr std::uint32_t kFenceRequest = 0x80000000;
constexpr std::uint32_t kFenceKnown = 0x7;

class Connection {
 public:
  Connection(const char* host, int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (inet_pton(AF_INET, host, &address.sin_addr) != 1) throw std::runtime_error("not an address");
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("cannot connect");
    }
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  ~Connection() { ::close(socket_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void read(std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
      if (next_ == end_) {
        const ssize_t got = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
        if (got <= 0) throw std::runtime_error("the connection has ended");
        next_ = 0;
        end_ = static_cast<std::size_t>(got);
      }
      const std::size_t count = std::min(bytes.size(), end_ - next_);
      std::memcpy(bytes.data(), buffer_.data() + next_, count);
      next_ += count;
      bytes = bytes.subspan(count);
    }
  }

  template <typename Number>
  Number number() {
    std::array<std::uint8_t, sizeof(Number)> bytes{};
    read(bytes);
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes) value = value << 8U | byte;
    return static_cast<Number>(value);
  }

  void skip(std::size_t count) {
    skipped_.resize(count);
    read(skipped_);
  }

  void write(const std::vector<std::uint8_t>& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (count <= 0) throw std::runtime_error("the connection has ended");
      sent += static_cast<std::size_t>(count);
    }
  }

 private:
  int socket_;
  std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(1U << 18U);
  std::size_t next_ = 0;
  std::size_t end_ = 0;
  std::vector<std::uint8_t> skipped_;
};

void put16(std::vector<std::uint8_t>& to, int value) {
  to.push_back(static_cast<std::uint8_t>(value >> 8));
  to.push_back(static_cast<std::uint8_t>(value));
}

void put32(std::vector<std::uint8_t>& to, std::uint32_t value) {
  put16(to, static_cast<int>(value >> 16U));
  put16(to, static_cast<int>(value & 0xFFFFU));
}

class Probe {
 public:
  Probe(Connection& connection, int column, int row)
      : connection_(connection),
        decoder_([&](std::span<std::uint8_t> bytes) { connection_.read(bytes); }),
        column_(column),
        row_(row) {}

  void greet() {
    connection_.skip(12);
    const std::string version = "RFB 003.008\n";
    connection_.write({version.begin(), version.end()});
    const auto types = connection_.number<std::uint8_t>();
    if (types == 0) throw std::runtime_error("the server refuses");
    connection_.skip(types);
    connection_.write({1});  // No password.
    if (connection_.number<std::uint32_t>() != 0) throw std::runtime_error("the server wants a password");
    connection_.write({1});  // Other viewers may stay.
    width_ = connection_.number<std::uint16_t>();
    height_ = connection_.number<std::uint16_t>();
    connection_.skip(16);
    connection_.skip(connection_.number<std::uint32_t>());
    // 32 bits, 24 of them used, little endian, true colour: 8 bits each for red, green and blue.
    connection_.write({0, 0, 0, 0, 32, 24, 0, 1, 0, 255, 0, 255, 0, 255, 16, 8, 0, 0, 0, 0});
    const std::initializer_list<int> encodings = {kTight, kCopyRect,         kRaw, kDesktopSize, kLastRect,
                                                  kFence, kContinuousUpdates};
    std::vector<std::uint8_t> message{2, 0};
    put16(message, static_cast<int>(encodings.size()));
    for (const int encoding : encodings) put32(message, static_cast<std::uint32_t>(encoding));
    connection_.write(message);
    request(false);
  }

  [[noreturn]] void follow() {
    for (;;) {
      switch (const int type = connection_.number<std::uint8_t>()) {
        case 0:
          update();
          break;
        case 1:
          connection_.skip(3);
          connection_.skip(std::size_t{6} * connection_.number<std::uint16_t>());
          break;
        case 2:
          break;
        case 3:
          connection_.skip(3);
          connection_.skip(connection_.number<std::uint32_t>());
          break;
        case 150:
          if (!continuous_) followContinuously();
          break;
        case 248:
          fence();
          break;
        default:
          throw std::runtime_error("an unknown message, " + std::to_string(type));
      }
    }
  }

 private:
  void request(bool incremental) {
    std::vector<std::uint8_t> message{3, static_cast<std::uint8_t>(incremental)};
    for (const int value : {0, 0, width_, height_}) put16(message, value);
    connection_.write(message);
  }

  void followContinuously() {
    continuous_ = true;
    std::vector<std::uint8_t> message{150, 1};
    for (const int value : {0, 0, width_, height_}) put16(message, value);
    connection_.write(message);
  }

  void fence() {
    connection_.skip(3);
    const auto flags = connection_.number<std::uint32_t>();
    std::vector<std::uint8_t> payload(connection_.number<std::uint8_t>());
    connection_.read(payload);
    if ((flags & kFenceRequest) == 0) return;
    std::vector<std::uint8_t> message{248, 0, 0, 0};
    put32(message, flags & kFenceKnown);
    message.push_back(static_cast<std::uint8_t>(payload.size()));
    message.insert(message.end(), payload.begin(), payload.end());
    connection_.write(message);
  }

  void update() {
    connection_.skip(1);
    // As viewers do: the server may prepare the next update while this one is read.
    if (!continuous_) request(true);
    const int count = connection_.number<std::uint16_t>();
    long pixels = 0;
    for (int index = 0; index < count; ++index) {
      const int x = connection_.number<std::uint16_t>();
      const int y = connection_.number<std::uint16_t>();
      const int width = connection_.number<std::uint16_t>();
      const int height = connection_.number<std::uint16_t>();
      const auto encoding = connection_.number<std::int32_t>();
      if (encoding == kLastRect) break;
      if (encoding == kDesktopSize) continue;
      pixels += static_cast<long>(width) * height;
      rectangle(encoding, x, y, width, height);
    }
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::printf("%.2f %ld %d\n", std::chrono::duration<double, std::milli>(now).count(), pixels, red_);
    std::fflush(stdout);
  }

  void rectangle(int encoding, int x, int y, int width, int height) {
    const bool hasPixel = column_ >= x && column_ < x + width && row_ >= y && row_ < y + height;
    if (encoding == kTight) {
      using Pixel = TightDecoder::Pixel;
      const auto wanted = hasPixel ? std::optional(Pixel{column_ - x, row_ - y}) : std::nullopt;
      if (const auto red = decoder_.decode(width, height, wanted)) red_ = *red;
    } else if (encoding == kRaw) {
      std::vector<std::uint8_t> line(static_cast<std::size_t>(width) * 4);
      for (int row = y; row < y + height; ++row) {
        connection_.read(line);
        if (hasPixel && row == row_) red_ = line[static_cast<std::size_t>(column_ - x) * 4 + 2];
      }
    } else if (encoding == kCopyRect) {
      connection_.skip(4);
    } else {
      throw std::runtime_error("an encoding that was not asked for, " + std::to_string(encoding));
    }
  }

  Connection& connection_;
  TightDecoder decoder_;
  int column_;
  int row_;
  int width_ = 0;
  int height_ = 0;
  int red_ = -1;
  bool continuous_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fputs("usage: vnc_probe HOST PORT COLUMN ROW\n", stderr);
    return 2;
  }
  try {
    Connection connection(argv[1], std::atoi(argv[2]));
    Probe probe(connection, std::atoi(argv[3]), std::atoi(argv[4]));
    probe.greet();
    probe.follow();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vnc_probe: %s\n", error.what());
    return 1;
  }
}
