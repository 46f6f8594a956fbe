#include "korvatapp.h"

int main(int argc, char **argv)
{
    return KorvatApp::exec(argc, argv);
}
