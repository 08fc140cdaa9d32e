// The programs around a supervisor, small and the same for each. The name that it is started under says which it is:
//   stamp COMMAND...    writes "start NANOSECONDS" into the FIFO of stamps and becomes COMMAND
//   haldo_starthostsw   becomes the program of -e with the options of -o
//   haldo_xauthority    names an X authority file
//   haldo_agent         writes "agent NANOSECONDS", waits (-hold: for ever, -live MS), lets the log have a size
//                       (-log BYTES), writes "end NANOSECONDS" and ends
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static void stamp(const char* what)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int fifo = open("/run/bench/stamps", O_WRONLY);
    dprintf(fifo, "%s %lld%09ld\n", what, (long long)now.tv_sec, now.tv_nsec);
    close(fifo);
}

static void become(char** argv)
{
    execvp(argv[0], argv);
    perror(argv[0]);
    exit(127);
}

static void launch(int argc, char** argv)
{
    char* words[64] = {NULL};
    for (int option; (option = getopt(argc, argv, "e:x:o:w:")) != -1;) {
        if (option == 'e')
            words[0] = optarg;
        else if (option == 'x')
            setenv("XAUTHORITY", optarg, 1);
        else if (option == 'o')
            for (int i = 1; i < 63 && (words[i] = strtok(i == 1 ? optarg : NULL, " ")) != NULL; ++i) {
            }
    }
    become(words);
}

static void be_agent(int argc, char** argv)
{
    stamp("agent");
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "-hold") == 0)
            pause();
        else if (strcmp(argv[i], "-live") == 0 && i + 1 < argc)
            usleep((useconds_t)atoi(argv[++i]) * 1000);
        else if (strcmp(argv[i], "-log") == 0 && i + 1 < argc &&
                 truncate("/var/log/haldo/haldohostsw.0.log", atoll(argv[++i])) != 0)
            perror("truncate");
    }
    stamp("end");
}

int main(int argc, char** argv)
{
    const char* name = strrchr(argv[0], '/') != NULL ? strrchr(argv[0], '/') + 1 : argv[0];
    if (strcmp(name, "haldo_starthostsw") == 0) {
        launch(argc, argv);
    } else if (strcmp(name, "haldo_xauthority") == 0) {
        puts("XAUTHORITY=/run/bench/xauthority");
    } else if (strcmp(name, "haldo_agent") == 0) {
        be_agent(argc, argv);
    } else {
        stamp("start");
        become(argv + 1);
    }
    return 0;
}
