// A window at (100, 100), 600 by 400, with elements at fixed positions for the tests.
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRasterWindow>
#include <QSplitter>

namespace {

template <typename Widget>
Widget* place(Widget* widget, int x, int y, int width, int height) {
  widget->setGeometry(x, y, width, height);
  return widget;
}

QSplitter* splitter(Qt::Orientation orientation, QWidget* parent) {
  auto* const pane = new QSplitter(orientation, parent);
  pane->setHandleWidth(10);
  pane->addWidget(new QLabel(QStringLiteral("one")));
  pane->addWidget(new QLabel(QStringLiteral("two")));
  return pane;
}

}  // namespace

int main(int argc, char* argv[]) {
  QApplication application(argc, argv);
  QMainWindow window;
  window.setGeometry(100, 100, 600, 400);
  auto* const content = new QWidget;
  window.setCentralWidget(content);
  place(new QLineEdit(content), 20, 20, 200, 30);
  place(new QPushButton(QStringLiteral("Press"), content), 20, 60, 200, 30);
  place(new QRadioButton(QStringLiteral("Choose"), content), 20, 100, 200, 30);
  place(new QLabel(QStringLiteral("Label"), content), 20, 140, 200, 30);
  place(new QPlainTextEdit(content), 20, 180, 200, 60);
  // The dividers are at x 395 to 404 and y 195 to 204 of the window.
  place(splitter(Qt::Horizontal, content), 300, 20, 200, 80)->setSizes({95, 95});
  place(splitter(Qt::Vertical, content), 300, 150, 200, 100)->setSizes({45, 45});
  window.show();
  if (!application.arguments().contains(QStringLiteral("popups"))) return QApplication::exec();

  // Over the text area: a menu, a tooltip, and a window that is not reported to the accessibility service.
  QMenu menu;
  for (const char* title : {"First of the menu", "Second of the menu", "Third of the menu"}) {
    menu.addAction(QString::fromLatin1(title));
  }
  QLabel tip(QStringLiteral("A tip that is long enough"), nullptr, Qt::ToolTip);
  tip.setGeometry(400, 400, 200, 60);
  QRasterWindow unknown;
  unknown.setFlags(Qt::ToolTip);
  unknown.setGeometry(125, 285, 60, 40);
  // The test turns it into a panel.
  QLabel panel(QStringLiteral("Panel"));
  panel.setWindowTitle(QStringLiteral("panel"));
  panel.setGeometry(0, 600, 400, 60);
  panel.show();
  tip.show();
  unknown.show();
  menu.popup(QPoint(220, 300));
  return QApplication::exec();
}
