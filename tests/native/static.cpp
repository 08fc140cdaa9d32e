// Opens the node that it is told, issues the request 0x7801 (whose record has 32 bytes) and says what the ioctl
// returned.
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/ioctl.h>

int main(int, char** argv)
{
    unsigned char record[32]{};
    const int node = open(argv[1], O_RDWR);
    const int result = ioctl(node, 0x7801, record);
    std::printf("%d, errno %d, first byte %d\n", result, result < 0 ? errno : 0, record[0]);
    return 0;
}
