// What the client is compared with: about the least that a Qt Widgets program with a list, a line edit and a
// tray icon can be.
#include <QApplication>
#include <QIcon>
#include <QLineEdit>
#include <QListWidget>
#include <QPixmap>
#include <QSystemTrayIcon>
#include <QVBoxLayout>

int main(int argc, char *argv[])
{
    constexpr int rows = 200;

    const QApplication application(argc, argv);
    QWidget window;
    auto *const layout = new QVBoxLayout(&window);
    auto *const edit = new QLineEdit;
    auto *const list = new QListWidget;
    list->setUniformItemSizes(true);
    for (int row = 0; row < rows; ++row)
        list->addItem(QStringLiteral("Location %1").arg(row));
    layout->addWidget(edit);
    layout->addWidget(list);
    list->setFocus();

    QPixmap picture(32, 32);
    picture.fill(Qt::darkBlue);
    QSystemTrayIcon icon{QIcon(picture)};
    icon.show();

    window.resize(420, 640);
    window.show();
    return QApplication::exec();
}
