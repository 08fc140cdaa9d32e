#include "command_line.h"

int main(int argc, char** argv)
{
    return haldoctl::command_line().run(argc, argv);
}
