#include "korvatapp.h"

#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(KorvatPlugin)

int main(int argc, char **argv)
{
    return KorvatApp::exec(argc, argv);
}
