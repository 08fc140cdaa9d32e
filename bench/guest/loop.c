// The commands of the daemon's start and of its passes, in the same order, as a plain C program runs them: what the
// daemon is measured beside. Like the daemon it reads the configuration in each pass, opens the log anew and writes two
// dated lines into it; with the argument "bare" it runs the commands only.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static const char* log_file = "/var/log/haldo/haldohostsw.0.log";
static char options[100], path[400], user[201], xauthority[500];
static int bare;

static void log_line(const char* function, const char* text)
{
    const time_t now = time(NULL);
    char date[20];
    strftime(date, sizeof(date), "%m/%d %H:%M:%S", localtime(&now));
    printf("%s d[I] %36s | %s\n", date, function, text);
}

static void open_log(void)
{
    struct stat status;
    if (stat(log_file, &status) == 0)
        log_line("filesize", log_file);
    const int file = open(log_file, O_WRONLY | O_CREAT | O_APPEND, 0666);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    close(file);
}

static void run(const char* command)
{
    if (system(command) == -1)
        exit(1);
}

static void prepare_log(void)
{
    run("mkdir -p '/var/log/haldo'");
    if (!bare)
        open_log();
    run("chmod -R 777 '/var/log/haldo'");
    if (!bare)
        log_line("init_logging", log_file);
}

static void read_config(void)
{
    FILE* file = fopen("/etc/haldohostswd.conf", "r");
    for (char line[500]; fgets(line, sizeof(line), file) != NULL;) {
        sscanf(line, "HostSWPath=%399[^\n]", path);
        sscanf(line, "HostSWOptions=%99[^\n]", options);
    }
    fclose(file);
}

static int who(void)
{
    FILE* pipe = popen("who -u", "r");
    int display, found = 0;
    for (char line[500]; !found && fgets(line, sizeof(line), pipe) != NULL;)
        found = sscanf(line, "%200s :%d", user, &display) == 2;
    pclose(pipe);
    return found;
}

static void lookup(void)
{
    char command[500], line[500];
    snprintf(command, sizeof(command), "%s/haldo_xauthority", path);
    FILE* pipe = popen(command, "r");
    while (fgets(line, sizeof(line), pipe) != NULL)
        sscanf(line, "XAUTHORITY=%499s", xauthority);
    pclose(pipe);
}

static void run_agent(int as_user)
{
    char agent[2000], command[2300];
    snprintf(agent, sizeof(agent),
             "%s/haldo_starthostsw -e %s/haldo_agent -x %s -o '-ll3 %s -ld /var/log/haldo -ls 2' -w 0", path, path,
             xauthority, options);
    snprintf(command, sizeof(command), as_user ? "su %2$s -c \"%1$s\"" : "%1$s", agent, user);
    run(command);
}

int main(int argc, char** argv)
{
    bare = argc > 1 && strcmp(argv[1], "bare") == 0;
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ);
    read_config();
    prepare_log();
    who();
    for (;;) {
        if (!bare)
            read_config();
        const int as_user = who();
        lookup();
        run_agent(as_user);
        prepare_log();
        sleep(1);
    }
}
