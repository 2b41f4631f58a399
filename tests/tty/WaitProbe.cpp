// SPDX-License-Identifier: MIT

// A program that waits, in threads, children and for other things than the board; its first word
// says how. It prints what came of it, with the milliseconds that went by on its own clocks.

#include <fcntl.h>
#include <linux/futex.h>
#include <mqueue.h>
#include <poll.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <termios.h>
#include <threads.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

int OpenPort() {
    const int port = open("/dev/ttyS1", O_RDWR | O_NOCTTY);
    termios settings{};
    tcgetattr(port, &settings);
    cfmakeraw(&settings);
    cfsetspeed(&settings, B9600);
    settings.c_cflag |= PARENB;
    tcsetattr(port, TCSANOW, &settings);
    return port;
}

long long Since(Clock::time_point begin) {
    return std::chrono::duration_cast<milliseconds>(Clock::now() - begin).count();
}

void Say(const char* what, long long result, Clock::time_point begin) {
    std::printf("%s %lld (%lld ms)\n", what, result, Since(begin));
}

int ReadByte(int port) {
    std::uint8_t byte = 0;
    return read(port, &byte, 1) == 1 ? byte : -1;
}

/// A sync and a protected command that a locked loader refuses.
int Exchange(int port) {
    constexpr std::array<std::uint8_t, 1> kSync{0x80};
    constexpr std::array<std::uint8_t, 10> kFrame{0x80, 0x14, 0x04, 0x04, 0xF0,
                                                  0x0F, 0x0E, 0x00, 0x85, 0xE0};
    if (write(port, kSync.data(), kSync.size()) != 1 || ReadByte(port) != 0x90 ||
        write(port, kFrame.data(), kFrame.size()) != 10) {
        return -1;
    }
    return ReadByte(port);
}

/// Four threads, each with five exchanges; `locked`: one after the other.
void FourThreads(bool locked) {
    const int port = OpenPort();
    std::mutex turn;
    std::mutex said;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            for (int count = 0; count < 5; ++count) {
                std::unique_lock<std::mutex> mine(turn, std::defer_lock);
                if (locked) {
                    mine.lock();
                }
                const int answer = Exchange(port);
                const std::lock_guard<std::mutex> alone(said);
                std::printf("%d.%d %02x\n", number, count, static_cast<unsigned>(answer));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void Reader() {
    const int port = OpenPort();
    const auto begin = Clock::now();
    int byte = 0;
    std::thread reader([&] { byte = ReadByte(port); });
    usleep(2'000'000);
    constexpr std::uint8_t kSync = 0x80;
    static_cast<void>(write(port, &kSync, 1));
    reader.join();
    Say("read", byte, begin);
}

/// A reader and a waiter that are not needed any more, and a reader after them.
void Cancelled() {
    const int port = OpenPort();
    std::thread reader([&] { static_cast<void>(ReadByte(port)); });
    usleep(1'000'000);
    pthread_cancel(reader.native_handle());
    reader.join();
    std::array<int, 2> ends{};
    static_cast<void>(pipe(ends.data()));
    std::thread elsewhere([&] {
        pollfd file{ends[0], POLLIN, 0};
        static_cast<void>(poll(&file, 1, 3600'000));
    });
    usleep(1'000'000);
    pthread_cancel(elsewhere.native_handle());
    elsewhere.join();
    const auto begin = Clock::now();
    constexpr std::uint8_t kSync = 0x80;
    static_cast<void>(write(port, &kSync, 1));
    Say("read", ReadByte(port), begin);
}

void Sleepers() {
    const auto begin = Clock::now();
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number) {
        threads.emplace_back([] { sleep(10); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    Say("slept", 3, begin);
}

void Deadlock() {
    const int port = OpenPort();
    std::thread reader([port] { static_cast<void>(ReadByte(port)); });
    reader.join();
}

void Condition() {
    std::mutex lock;
    std::condition_variable condition;
    const auto begin = Clock::now();
    std::unique_lock<std::mutex> held(lock);
    const bool came = condition.wait_for(held, milliseconds(30), [] { return false; });
    Say("condition", came ? 1 : 0, begin);
}

void Semaphore() {
    sem_t semaphore{};
    sem_init(&semaphore, 0, 0);
    const auto begin = Clock::now();
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_nsec += 40'000'000;
    Say("semaphore", sem_timedwait(&semaphore, &deadline), begin);
}

void Pipe() {
    std::array<int, 2> ends{};
    static_cast<void>(pipe(ends.data()));
    pollfd file{ends[0], POLLIN, 0};
    auto begin = Clock::now();
    Say("poll", poll(&file, 1, 20), begin);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(ends[0], &set);
    timeval timeout{0, 25000};
    begin = Clock::now();
    Say("select", select(ends[0] + 1, &set, nullptr, nullptr, &timeout), begin);
    const int events = epoll_create1(0);
    epoll_event event{};
    event.events = EPOLLIN;
    epoll_ctl(events, EPOLL_CTL_ADD, ends[0], &event);
    begin = Clock::now();
    Say("epoll", epoll_wait(events, &event, 1, 35), begin);
}

/// What is there already, in nanoseconds of the program's clock: to ask for the time takes 1000.
void Ready() {
    std::array<int, 2> ends{};
    static_cast<void>(pipe(ends.data()));
    static_cast<void>(write(ends[1], "x", 1));
    pollfd file{ends[0], POLLIN, 0};
    auto begin = Clock::now();
    const auto say = [&begin](const char* what, int result) {
        std::printf("%s %d (%lld ns)\n", what, result,
                    static_cast<long long>((Clock::now() - begin).count()));
        begin = Clock::now();
    };
    say("poll", poll(&file, 1, 2000));
    const timespec length{2, 0};
    say("ppoll", ppoll(&file, 1, &length, nullptr));
    fd_set set;
    FD_ZERO(&set);
    FD_SET(ends[0], &set);
    timeval timeout{2, 0};
    say("select", select(ends[0] + 1, &set, nullptr, nullptr, &timeout));
    say("pselect", pselect(ends[0] + 1, &set, nullptr, nullptr, &length, nullptr));
    const int events = epoll_create1(0);
    epoll_event event{};
    event.events = EPOLLIN;
    epoll_ctl(events, EPOLL_CTL_ADD, ends[0], &event);
    say("epoll", epoll_wait(events, &event, 1, 2000));
}

/// What is waited for comes only after a while, by a timer of the machine's.
void Later() {
    const int timer = timerfd_create(CLOCK_MONOTONIC, 0);
    const itimerspec soon{{0, 0}, {0, 5'000'000}};
    timerfd_settime(timer, 0, &soon, nullptr);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(timer, &set);
    timeval timeout{5, 0};
    const int ready = select(timer + 1, &set, nullptr, nullptr, &timeout);
    std::printf("select %d %s\n", ready, FD_ISSET(timer, &set) ? "set" : "not set");
    timerfd_settime(timer, 0, &soon, nullptr);
    timeval none{0, 0};
    const int now = select(timer + 1, &set, nullptr, nullptr, &none);
    std::printf("select %d %s\n", now, FD_ISSET(timer, &set) ? "set" : "not set");
}

void Futex() {
    std::uint32_t word = 0;
    const auto begin = Clock::now();
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_nsec += 15'000'000;
    const long result = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, 0U,
                                &deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
    Say("futex", result, begin);
}

void Children() {
    const auto begin = Clock::now();
    for (int number = 0; number < 3; ++number) {
        if (fork() == 0) {
            sleep(10);
            _exit(0);
        }
    }
    for (int number = 0; number < 3; ++number) {
        wait(nullptr);
    }
    Say("children", 3, begin);
    if (fork() == 0) {
        sleep(10);
        _exit(0);
    }
    wait(nullptr);
    Say("children", 4, begin);
}

timespec In(int ms) {
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_nsec += ms * 1'000'000L;
    deadline.tv_sec += deadline.tv_nsec / 1'000'000'000;
    deadline.tv_nsec %= 1'000'000'000;
    return deadline;
}

/// A wait that answers an errno, with what it took.
template <class Wait>
void SayWaited(const char* what, Wait wait) {
    const auto begin = Clock::now();
    const int error = wait();
    const auto taken = std::chrono::round<milliseconds>(Clock::now() - begin);
    std::printf("%s %s (%lld ms)\n", what, error == 0 ? "0" : strerrorname_np(error),
                static_cast<long long>(taken.count()));
}

/// Waits that nothing ends but their deadlines.
void Deadlines() {
    pthread_rwlock_t read = PTHREAD_RWLOCK_INITIALIZER;
    pthread_rwlock_rdlock(&read);
    timespec then = In(20);
    SayWaited("timedwrlock", [&] { return pthread_rwlock_timedwrlock(&read, &then); });
    then = In(25);
    SayWaited("clockwrlock",
              [&] { return pthread_rwlock_clockwrlock(&read, CLOCK_REALTIME, &then); });
    mtx_t lock{};
    mtx_init(&lock, mtx_timed);
    mtx_lock(&lock);
    then = In(30);
    SayWaited("mtx_timedlock",
              [&] { return mtx_timedlock(&lock, &then) == thrd_timedout ? ETIMEDOUT : 0; });
    cnd_t condition{};
    cnd_init(&condition);
    then = In(35);
    SayWaited("cnd_timedwait", [&] {
        return cnd_timedwait(&condition, &lock, &then) == thrd_timedout ? ETIMEDOUT : 0;
    });
    sem_t semaphore{};
    sem_init(&semaphore, 0, 0);
    then = In(40);
    SayWaited("sem_clockwait",
              [&] { return sem_clockwait(&semaphore, CLOCK_REALTIME, &then) == 0 ? 0 : errno; });
    const int set = semget(IPC_PRIVATE, 1, 0600);
    sembuf take{0, -1, 0};
    timespec length{0, 45'000'000};
    SayWaited("semtimedop", [&] { return semtimedop(set, &take, 1, &length) == 0 ? 0 : errno; });
    semctl(set, 0, IPC_RMID);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    length.tv_nsec = 50'000'000;
    SayWaited("sigtimedwait",
              [&] { return sigtimedwait(&signals, nullptr, &length) > 0 ? 0 : errno; });
}

void Queue() {
    const std::string name = "/vboard-" + std::to_string(getpid());
    mq_attr attributes{};
    attributes.mq_maxmsg = 1;
    attributes.mq_msgsize = 8;
    const mqd_t queue = mq_open(name.c_str(), O_CREAT | O_EXCL | O_RDWR, 0600, &attributes);
    mq_unlink(name.c_str());
    if (queue == static_cast<mqd_t>(-1)) {
        std::printf("no queues\n");
        return;
    }
    std::array<char, 8> text{};
    timespec then = In(20);
    SayWaited("mq_timedreceive", [&] {
        return mq_timedreceive(queue, text.data(), text.size(), nullptr, &then) < 0 ? errno : 0;
    });
    then = In(25);
    SayWaited("mq_timedsend",
              [&] { return mq_timedsend(queue, text.data(), 1, 0, &then) == 0 ? 0 : errno; });
    SayWaited("mq_timedsend",
              [&] { return mq_timedsend(queue, text.data(), 1, 0, &then) == 0 ? 0 : errno; });
}

/// Waits for another thread, which is in nobody's way and goes on when it is told.
void OtherThreads() {
    pthread_rwlock_t written = PTHREAD_RWLOCK_INITIALIZER;
    sem_t end{};
    sem_init(&end, 0, 0);
    sem_t begun{};
    sem_init(&begun, 0, 0);
    std::thread other([&] {
        pthread_rwlock_wrlock(&written);
        sem_post(&begun);
        sem_wait(&end);
        pthread_rwlock_unlock(&written);
    });
    sem_wait(&begun);
    timespec then = In(20);
    SayWaited("timedrdlock", [&] { return pthread_rwlock_timedrdlock(&written, &then); });
    then = In(25);
    SayWaited("clockrdlock",
              [&] { return pthread_rwlock_clockrdlock(&written, CLOCK_REALTIME, &then); });
    then = In(30);
    SayWaited("timedjoin",
              [&] { return pthread_timedjoin_np(other.native_handle(), nullptr, &then); });
    then = In(35);
    SayWaited("clockjoin", [&] {
        return pthread_clockjoin_np(other.native_handle(), nullptr, CLOCK_REALTIME, &then);
    });
    sem_post(&end);
    other.join();
}

void SleepingChildren() {
    const auto begin = Clock::now();
    for (const unsigned seconds : {10U, 20U, 15U}) {
        if (fork() == 0) {
            sleep(seconds);
            _exit(0);
        }
    }
    siginfo_t information{};
    for (int number = 0; number < 3; ++number) {
        waitid(P_ALL, 0, &information, WEXITED);
    }
    Say("waitid", 3, begin);
    if (system("sleep 5") == 0) {
        Say("system", 0, begin);
    }
    std::FILE* pipe = popen("sleep 5", "w");
    Say("pclose", pclose(pipe), begin);
}

/// A byte is on its way when the process splits in two. Both look for the answer.
void Wire() {
    const int port = OpenPort();
    fcntl(port, F_SETFL, O_NONBLOCK);
    constexpr std::uint8_t kSync = 0x80;
    static_cast<void>(write(port, &kSync, 1));
    std::fflush(stdout);
    const bool isChild = fork() == 0;
    if (!isChild) {
        wait(nullptr);
    }
    usleep(10'000);
    std::printf("%s %d\n", isChild ? "child" : "parent", ReadByte(port));
}

void Signal() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval soon{{0, 0}, {0, 20000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    const timespec hour{3600, 0};
    timespec left{};
    const int result = nanosleep(&hour, &left);
    std::printf("sleep %s %s\n", result == 0 ? "0" : strerrorname_np(errno),
                left.tv_sec > 3000 ? "nearly all is left" : "little is left");
    const int port = OpenPort();
    setitimer(ITIMER_REAL, &soon, nullptr);
    pollfd file{port, POLLIN, 0};
    std::printf("poll %s\n", poll(&file, 1, 3600'000) == 0 ? "0" : strerrorname_np(errno));
}

void Lengths() {
    const timespec wrong{0, 1'000'000'000};
    std::printf("nanosleep %s\n", nanosleep(&wrong, nullptr) == 0 ? "0" : strerrorname_np(errno));
    timeval negative{-1, 0};
    std::printf("select %s\n", select(0, nullptr, nullptr, nullptr, &negative) == 0
                                   ? "0"
                                   : strerrorname_np(errno));
    std::fflush(stdout);
    const timespec longest{LONG_MAX, 0};
    nanosleep(&longest, nullptr);
    std::printf("the end of time is behind us\n");
}

}  // namespace

int main(int argc, char** argv) {
    static const std::map<std::string, void (*)()> kWays{
        {"four", [] { FourThreads(true); }},
        {"unlocked", [] { FourThreads(false); }},
        {"reader", Reader},
        {"cancelled", Cancelled},
        {"sleepers", Sleepers},
        {"deadlock", Deadlock},
        {"condition", Condition},
        {"semaphore", Semaphore},
        {"pipe", Pipe},
        {"ready", Ready},
        {"later", Later},
        {"futex", Futex},
        {"children", Children},
        {"deadlines", Deadlines},
        {"queue", Queue},
        {"threads", OtherThreads},
        {"sleeping", SleepingChildren},
        {"wire", Wire},
        {"signal", Signal},
        {"lengths", Lengths},
    };
    const auto way = argc == 2 ? kWays.find(argv[1]) : kWays.end();
    if (way == kWays.end()) {
        return 2;
    }
    way->second();
    return 0;
}
