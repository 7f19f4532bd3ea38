#include "notices/FutureVC.h"

#include "ui_FutureVC.h"

namespace velmora {

std::unique_ptr<QWidget> FutureVC::makeView()
{
    auto root = std::make_unique<QWidget>();
    Ui::FutureVC().setupUi(root.get());
    return root;
}

} // namespace velmora
