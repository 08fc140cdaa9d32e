// Writes the records that `who -u` reads, and the same sessions where another `who` asks logind: in logind's folder.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utmpx.h>
#include <vector>

namespace
{

constexpr char usage[] = "usage: guest-utmp login USER LINE [HOST] | logout LINE | clear\n";
constexpr char sessions[] = "/run/systemd/sessions";

// The record of a line is found by its id, the end of the line's name. Its texts need no terminator.
template <std::size_t size> void put(char (&member)[size], std::string_view text)
{
    std::memcpy(member, text.data(), text.size() < size ? text.size() : size);
}

bool write_record(short type, std::string_view user, std::string_view line, std::string_view host)
{
    utmpx record{};
    record.ut_type = type;
    record.ut_pid = 1; // `who` leaves out the sessions whose process is gone
    record.ut_tv.tv_sec = static_cast<decltype(record.ut_tv.tv_sec)>(std::time(nullptr));
    put(record.ut_id, line.substr(line.size() < sizeof record.ut_id ? 0 : line.size() - sizeof record.ut_id));
    put(record.ut_line, line);
    put(record.ut_user, user);
    put(record.ut_host, host);
    setutxent();
    return pututxline(&record) != nullptr;
}

template <std::size_t size> std::string text(const char (&member)[size])
{
    return {member, strnlen(member, size)};
}

// A seat has a display, which logind knows; any other session has a terminal.
bool write_session(const utmpx& record, const std::filesystem::path& path)
{
    std::ofstream file(path);
    file << "USER=" << text(record.ut_user) << "\nLEADER=" << record.ut_pid << "\nREALTIME=" << record.ut_tv.tv_sec
         << "000000\n";
    if (text(record.ut_line) == "seat0")
        file << "SEAT=seat0\nTYPE=x11\nDISPLAY=" << text(record.ut_host) << '\n';
    else
        file << "TYPE=tty\nTTY=" << text(record.ut_line) << "\nREMOTE_HOST=" << text(record.ut_host) << '\n';
    return bool(file.flush());
}

// The sessions of all records. `who` takes them as the folder lists them, which in memory is the newest first.
bool write_sessions()
{
    std::filesystem::remove_all(sessions);
    std::filesystem::create_directories(sessions);
    std::vector<utmpx> records;
    setutxent();
    while (const utmpx* record = getutxent()) {
        if (record->ut_type == USER_PROCESS)
            records.push_back(*record);
    }
    for (std::size_t i = records.size(); i > 0; --i) {
        if (!write_session(records[i - 1], std::filesystem::path(sessions) / std::to_string(i)))
            return false;
    }
    return true;
}

bool clear_records()
{
    const int file = open(_PATH_UTMP, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0664);
    return file >= 0 && close(file) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view verb = argc > 1 ? argv[1] : "";
    bool written;
    if (verb == "login" && (argc == 4 || argc == 5)) {
        written = write_record(USER_PROCESS, argv[2], argv[3], argc == 5 ? argv[4] : "");
    } else if (verb == "logout" && argc == 3) {
        written = write_record(DEAD_PROCESS, "", argv[2], "");
    } else if (verb == "clear" && argc == 2) {
        written = clear_records();
    } else {
        std::fputs(usage, stderr);
        return 2;
    }
    if (!written) {
        std::fprintf(stderr, "guest-utmp: %s: %s\n", _PATH_UTMP, std::strerror(errno));
        return 1;
    }
    if (!write_sessions()) {
        std::fprintf(stderr, "guest-utmp: %s: %s\n", sessions, std::strerror(errno));
        return 1;
    }
    return 0;
}
