#include "App/VelmoApplication.h"

#include <QApplication>

int VelmoApplication::run(int argc, char** argv)
{
    QApplication app(argc, argv);
    return 0;
}
