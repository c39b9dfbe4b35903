#include "App/VelmoApplication.h"

int main(int argc, char** argv)
{
    return VelmoApplication::run(argc, argv);
}
