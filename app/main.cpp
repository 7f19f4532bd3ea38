#include "platform/SystemSecretStore.h"

#include <QApplication>
#include <QWidget>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    velmora::SecretStore::setShared(std::make_unique<velmora::SystemSecretStore>());
    QWidget window;
    window.resize(400, 680);
    window.show();
    return QApplication::exec();
}
