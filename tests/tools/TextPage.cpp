// A window full of small text for tests and benchmarks of the video: text_page
//
// Covers the screen. Reads one command a line from standard input and replies to each with one line once the X server
// has it: the command and the wall-clock time in milliseconds since 1970.
//
//   page N    shows page N from its top: text that differs from every other page's
//   scroll    moves the text up by three pixels sixty times a second
//   still     stops that
//   flip      turns the square at the top right from black to white or back
#include <QApplication>
#include <QFontDatabase>
#include <QImage>
#include <QPainter>
#include <QScreen>
#include <QSocketNotifier>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <random>
#include <string>

namespace {

constexpr int kSquare = 64;
constexpr int kStep = 3;
constexpr int kFontPixels = 14;

class TextPage final : public QWidget {
 public:
  TextPage() : QWidget(nullptr, Qt::FramelessWindowHint | Qt::BypassWindowManagerHint) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setGeometry(screen()->geometry());
    drawPage(0);
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(std::chrono::milliseconds(16));
    timer_.callOnTimeout([this] {
      offset_ = (offset_ + kStep) % text_.height();
      repaint();
    });
  }

  void obey(const std::string& command) {
    if (command.starts_with("page ")) {
      drawPage(static_cast<unsigned>(std::stoul(command.substr(5))));
      offset_ = 0;
      repaint();
    } else if (command == "scroll") {
      timer_.start();
    } else if (command == "still") {
      timer_.stop();
    } else if (command == "flip") {
      white_ = !white_;
      repaint(square());
    }
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::printf("%s %.2f\n", command.c_str(), std::chrono::duration<double, std::milli>(now).count());
    std::fflush(stdout);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.drawImage(0, -offset_, text_);
    painter.drawImage(0, text_.height() - offset_, text_);
    painter.fillRect(square(), white_ ? Qt::white : Qt::black);
  }

 private:
  QRect square() const { return {width() - kSquare, 0, kSquare, kSquare}; }

  // Twice the height of the screen, so that what scrolls in is new text.
  void drawPage(unsigned number) {
    QFont font(QStringLiteral("DejaVu Sans Mono"));
    font.setPixelSize(kFontPixels);
    const QFontMetrics metrics(font);
    const int columns = width() / metrics.horizontalAdvance(QLatin1Char('m'));
    const int rows = 2 * height() / metrics.height();
    text_ = QImage(width(), rows * metrics.height(), QImage::Format_RGB32);
    text_.fill(Qt::white);
    QPainter painter(&text_);
    painter.setFont(font);
    painter.setPen(Qt::black);
    std::mt19937 random(number);
    for (int row = 0; row < rows; ++row) {
      QString line;
      while (line.size() < columns) {
        for (unsigned length = 2 + random() % 9; length > 0; --length)
          line += QLatin1Char(static_cast<char>('a' + random() % 26));
        line += QLatin1Char(' ');
      }
      painter.drawText(0, row * metrics.height() + metrics.ascent(), line.left(columns));
    }
  }

  QTimer timer_;
  QImage text_;
  int offset_ = 0;
  bool white_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  TextPage page;
  page.show();
  std::setvbuf(stdin, nullptr, _IONBF, 0);  // Unbuffered: a waiting line must make the descriptor readable.
  QSocketNotifier notifier(fileno(stdin), QSocketNotifier::Read);
  std::string line;
  QObject::connect(&notifier, &QSocketNotifier::activated, &application, [&] {
    if (!std::getline(std::cin, line)) return QApplication::quit();
    page.obey(line);
  });
  page.obey("shown");
  return QApplication::exec();
}
