// What has been written: the lines of the log as they stand there, and what a process brings to standard output.
#pragma once

#include "host.h"

#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// What stands before a message: 59 characters, unless the name is longer than its column.
inline std::string prefix(char letter, const std::string& name, const std::string& date = "11/20 10:42:52")
{
    return date + " d[" + letter + "] " + std::string(name.size() < 36 ? 36 - name.size() : 0, ' ') + name + " | ";
}

// What the function prints to standard output in a process of its own: each element is what one write brought. The
// process ends without writing what is left in its buffers.
inline lines writes_of(const std::function<void()>& function)
{
    std::fflush(stdout);
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_DIRECT), 0); // each write is read as it came
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
        function();
        _exit(0);
    }
    close(ends[1]);
    lines writes;
    char data[4096];
    for (ssize_t n; (n = read(ends[0], data, sizeof(data))) > 0;)
        writes.emplace_back(data, static_cast<std::size_t>(n));
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return writes;
}
