#include <cstdio>

#include "commands.h"

int cmd_replay(int, char **)
{
    std::fprintf(stderr, "slateprobe-cli replay: not built yet\n");
    return 2;
}
