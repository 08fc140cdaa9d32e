// The time of a small request at a node: bench_request NODE prints it in nanoseconds. bench_request --beside CARDSIM
// prints the comparison of one through CARDSIM's run with the bare system call, an ioctl that /dev/null does not know.
#include "measure.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <vector>

namespace
{

constexpr unsigned long KMP_CUR_SPD_GET = 0x790B;
constexpr int REPETITIONS = 21;
constexpr auto REPETITION = std::chrono::milliseconds(20); // a guest's clock is rough

[[noreturn]] void fail(const char* what)
{
    std::perror(what);
    std::exit(1);
}

double median(std::vector<double> all)
{
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
    std::nth_element(all.begin(), middle, all.end());
    return *middle;
}

double ns_of_request(const char* node)
{
    using clock = std::chrono::steady_clock;
    const int file = open(node, O_RDWR);
    std::uint8_t record[8] = {};
    if (file < 0 || (ioctl(file, KMP_CUR_SPD_GET, record) != 0) != (std::string_view(node) == "/dev/null"))
        fail(node);
    std::vector<double> all;
    while (all.size() < REPETITIONS) {
        std::size_t count = 0;
        const auto begun = clock::now();
        auto now = begun;
        for (; now - begun < REPETITION; now = clock::now())
            for (int i = 0; i < 64; ++i, ++count)
                ioctl(file, KMP_CUR_SPD_GET, record);
        all.push_back(std::chrono::duration<double, std::nano>(now - begun).count() / static_cast<double>(count));
    }
    return median(all);
}

std::string quoted(const char* word)
{
    return std::string("'").append(word).append("' ");
}

// The number that a command prints.
double said_by(const std::string& command)
{
    FILE* const pipe = popen(command.c_str(), "r");
    double number = 0;
    if (pipe == nullptr || std::fscanf(pipe, "%lf", &number) != 1 || pclose(pipe) != 0)
        fail(command.c_str());
    return number;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2) {
        std::printf("%.1f\n", ns_of_request(argv[1]));
        return 0;
    }
    if (argc != 3 || std::string(argv[1]) != "--beside")
        return 2;
    // The bare call in a process of its own: under run the kernel would filter it.
    const std::string self = quoted(argv[0]);
    const std::string through = quoted(argv[2]) + "run -- " + self;
    std::vector<double> ours;
    std::vector<double> bare;
    for (int i = 0; i < REPETITIONS; ++i) {
        ours.push_back(said_by(through + "/dev/haldo_host1"));
        bare.push_back(said_by(self + "/dev/null"));
    }
    print({"card", "a request through haldo-cardsim run", "the bare system call", {}, ""},
          {median(ours), median(bare)});
}
