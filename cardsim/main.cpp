// haldo-cardsim: carries the simulated card to the device nodes of a real kernel, or to one program.

#include "ctl.h"
#include "cuse/nodes.h"
#include "options.h"
#include "run/run.h"

#include <string_view>

int main(int argc, char** argv)
{
    const std::string_view first = argc > 1 ? argv[1] : "";
    if (first == "ctl")
        return run_ctl(argc - 1, argv + 1);
    if (first == "run")
        return run_command(parse_options(argc - 1, argv + 1, behind_options::COMMAND));
    return serve_nodes(parse_options(argc, argv, behind_options::NOTHING));
}
