// SPDX-License-Identifier: MIT
#include "vboard/process/BoardTurn.h"

#include <pthread.h>
#include <sys/single_threaded.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <utility>
#include <vector>

#include "vboard/process/Patience.h"
#include "vboard/process/ThreadWatch.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

/// A thread that stands in line, on its own stack.
struct InLine {
    pid_t thread;
    const VirtualClock::Wait* wait;  ///< nullptr: it wants the turn, and not time.

    [[nodiscard]] bool IsReady() const { return wait == nullptr || wait->satisfied(); }
    [[nodiscard]] Instant Deadline() const { return wait->deadline.value_or(Instant::max()); }
};

/// Threads have numbers that rise, and begin anew after the largest; the program's own is its first
/// thread's.
unsigned AgeOf(pid_t thread) {
    constexpr unsigned kMostThreads = 1U << 22U;  // The kernel's PID_MAX_LIMIT.
    return (static_cast<unsigned>(thread) - static_cast<unsigned>(getpid())) % kMostThreads;
}

thread_local int t_depth = 0;
thread_local int t_inLine = 0;            ///< Above 0 where this thread is in the code of the line.
thread_local bool t_stoodInLine = false;  ///< For the turn that it has.
/// Whether the program lets this thread be cancelled, while it has the turn or waits for it.
thread_local int t_cancelling = PTHREAD_CANCEL_ENABLE;

/// A thread in the code of the line: what its allocator calls from here is not the program's.
class InCode {
public:
    InCode() { ++t_inLine; }
    ~InCode() { --t_inLine; }
    InCode(const InCode&) = delete;
    InCode& operator=(const InCode&) = delete;
};

/// Threads on their way into the line. One that sleeps for its lock does not rest.
std::atomic<int> g_arriving{0};

void Lock(pthread_mutex_t& lock) {
    g_arriving.fetch_add(1);
    static_cast<void>(pthread_mutex_lock(&lock));
    g_arriving.fetch_sub(1);
}

class Held {
public:
    explicit Held(pthread_mutex_t& lock) : m_lock(lock) { Lock(m_lock); }
    ~Held() { static_cast<void>(pthread_mutex_unlock(&m_lock)); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    InCode m_inCode;
    pthread_mutex_t& m_lock;
};

/// For as long as it lives the thread has given its turn away.
class WithoutTurn {
public:
    WithoutTurn() : m_depth(std::exchange(t_depth, 0)) {}
    ~WithoutTurn() { t_depth = m_depth; }
    WithoutTurn(const WithoutTurn&) = delete;
    WithoutTurn& operator=(const WithoutTurn&) = delete;

private:
    int m_depth;
};

/// A place in the line and the line's lock. A thread that is cancelled leaves both behind.
class Waiter {
public:
    Waiter(pthread_mutex_t& lock, pthread_cond_t& changed, std::vector<const InLine*>& places,
           const InLine& own)
        : m_lock(lock), m_changed(changed), m_places(places), m_own(own) {
        Lock(m_lock);
        const auto behind = std::find_if(places.begin(), places.end(), [&own](const InLine* other) {
            return AgeOf(other->thread) > AgeOf(own.thread);
        });
        places.insert(behind, &own);
        static_cast<void>(pthread_cond_broadcast(&m_changed));
    }
    ~Waiter() {
        std::erase(m_places, &m_own);
        static_cast<void>(pthread_cond_broadcast(&m_changed));
        static_cast<void>(pthread_mutex_unlock(&m_lock));
    }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    /// A wait for the board is where a thread may be cancelled, if the program lets it.
    void MayBeCancelled() const {
        if (m_own.wait != nullptr && t_cancelling == PTHREAD_CANCEL_ENABLE) {
            static_cast<void>(pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr));
            pthread_testcancel();
            static_cast<void>(pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr));
        }
    }
    void AwaitChange() const {
        const bool may = m_own.wait != nullptr && t_cancelling == PTHREAD_CANCEL_ENABLE;
        static_cast<void>(
            pthread_setcancelstate(may ? PTHREAD_CANCEL_ENABLE : PTHREAD_CANCEL_DISABLE, nullptr));
        static_cast<void>(pthread_cond_wait(&m_changed, &m_lock));
        static_cast<void>(pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr));
    }

private:
    pthread_mutex_t& m_lock;
    pthread_cond_t& m_changed;
    std::vector<const InLine*>& m_places;
    const InLine& m_own;
};

class Line : public VirtualClock::Sharers {
public:
    void Take();
    void GiveBack();
    bool MayMove(const VirtualClock::Wait& wait) override;

    /// A deadline that time may not pass, of a thread that is elsewhere.
    void Leave(const std::optional<Instant>* deadline);
    void Return(const std::optional<Instant>* deadline);

    [[nodiscard]] bool OthersRest();

private:
    bool Enter(const VirtualClock::Wait* wait);
    [[nodiscard]] const InLine* Next() const;
    [[nodiscard]] bool IsQuiet(const InLine& place, int look);
    [[nodiscard]] long NapBefore(const InLine& place, int look) const;
    [[nodiscard]] std::vector<pid_t> Standing() const;

    pthread_mutex_t m_lock = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t m_changed = PTHREAD_COND_INITIALIZER;
    std::vector<const InLine*> m_places;  ///< The oldest thread first.
    std::vector<const std::optional<Instant>*> m_absences;
    pid_t m_holder = 0;
    pid_t m_mover = 0;  ///< The thread for which time moved last, if it has the turn since.
    ThreadWatch m_watch;
};

/// Never destroyed: threads may use the board after every destructor has run.
Line* g_line = nullptr;

Line& TheLine() {
    static Line* const first = g_line = new Line;
    static_cast<void>(first);
    return *g_line;
}

void Line::Take() {
    const int kept = errno;
    static_cast<void>(Enter(nullptr));
    errno = kept;
}

void Line::GiveBack() {
    const Held held(m_lock);
    m_holder = 0;
    m_mover = 0;
    static_cast<void>(pthread_cond_broadcast(&m_changed));
}

std::vector<pid_t> Line::Standing() const {
    std::vector<pid_t> threads;
    for (const InLine* place : m_places) {
        threads.push_back(place->thread);
    }
    return threads;
}

/// Who is to go on: the oldest thread that has something to do; else the one whose wait ends first,
/// for which time may move. Nobody while a thread elsewhere has to be back before.
const InLine* Line::Next() const {
    const auto ready = std::find_if(m_places.begin(), m_places.end(),
                                    [](const InLine* place) { return place->IsReady(); });
    if (ready != m_places.end()) {
        return *ready;
    }
    const auto first = std::min_element(
        m_places.begin(), m_places.end(),
        [](const InLine* a, const InLine* b) { return a->Deadline() < b->Deadline(); });
    if (first == m_places.end()) {
        return nullptr;
    }
    const InLine& place = **first;
    const auto action = place.wait->clock.NextAction();
    const Instant goal = std::min(place.Deadline(), action.value_or(Instant::max()));
    const bool waitedFor = std::any_of(m_absences.begin(), m_absences.end(), [goal](const auto* d) {
        // A wait elsewhere without a deadline is one that time does not end.
        return goal == Instant::max() || (*d && **d < goal);
    });
    return waitedFor ? nullptr : &place;
}

/// True when `place` may go on now. Where only time could bring something, and not on the board,
/// the others are waited for as long as they may be woken from outside.
bool Line::IsQuiet(const InLine& place, int look) {
    std::vector<pid_t> standing = Standing();
    const ThreadWatch::Others others = m_watch.Look(standing);
    if (others == ThreadWatch::Others::kRun) {
        if (look >= kMostLooks) {
            m_watch.GiveUp(standing);
        }
        return false;
    }
    if (g_arriving.load() > 0) {
        return false;
    }
    const bool stuck =
        !place.IsReady() && !place.wait->deadline && !place.wait->clock.NextAction().has_value();
    return !stuck || (others == ThreadWatch::Others::kAwaitEachOther && !place.wait->outside);
}

/// How long to wait before a step of `place`: until it is due on the machine's clock, for a run in
/// real time. 0: now.
long Line::NapBefore(const InLine& place, int look) const {
    Pacer* pacer = place.IsReady() ? nullptr : place.wait->clock.ThePacer();
    if (pacer == nullptr) {
        return 0;
    }
    const auto action = place.wait->clock.NextAction();
    const Instant goal = std::min(place.Deadline(), action.value_or(Instant::max()));
    const bool due = goal == Instant::max() || Instant{pacer->Now()} >= goal;
    return due ? 0 : (look == 0 ? kShortNapNs : kLongNapNs);
}

/// Waits until this thread is to go on, and takes the turn. True when time may move for its wait.
bool Line::Enter(const VirtualClock::Wait* wait) {
    const InCode inCode;
    const InLine own{gettid(), wait};
    const Waiter waiter(m_lock, m_changed, m_places, own);
    for (int look = 0;;) {
        waiter.MayBeCancelled();
        if (m_holder != 0 || Next() != &own) {
            waiter.AwaitChange();
            look = 0;
            continue;
        }
        long nap = NapBefore(own, look);
        if (nap == 0 && IsQuiet(own, look)) {
            waiter.MayBeCancelled();  // By one of those that rest now.
            break;
        }
        nap = nap != 0 ? nap : NapBehind(look);
        static_cast<void>(pthread_mutex_unlock(&m_lock));
        Nap(nap);
        static_cast<void>(pthread_mutex_lock(&m_lock));
        ++look;
    }
    m_holder = own.thread;
    const bool moves = !own.IsReady();
    m_mover = moves ? own.thread : 0;
    return moves;
}

bool Line::MayMove(const VirtualClock::Wait& wait) {
    const pid_t self = gettid();
    {
        const Held held(m_lock);
        // Nobody has had a turn since time last moved for this thread: another step, unless it has
        // brought something to somebody else.
        if (m_mover == self && wait.clock.ThePacer() == nullptr) {
            const InLine own{self, &wait};
            m_places.push_back(&own);
            const InLine* next = Next();
            std::erase(m_places, &own);
            const bool more = wait.deadline || wait.clock.NextAction();
            if (next == &own && more) {
                return true;
            }
        }
        m_holder = 0;
        static_cast<void>(pthread_cond_broadcast(&m_changed));
    }
    // A thread that is cancelled meanwhile has no turn to give back.
    t_stoodInLine = false;
    const WithoutTurn without;
    const int kept = errno;
    const bool moves = Enter(&wait);
    errno = kept;
    t_stoodInLine = true;
    return moves;
}

void Line::Leave(const std::optional<Instant>* deadline) {
    const Held held(m_lock);
    m_absences.push_back(deadline);
    static_cast<void>(pthread_cond_broadcast(&m_changed));
}

void Line::Return(const std::optional<Instant>* deadline) {
    const Held held(m_lock);
    std::erase(m_absences, deadline);
    static_cast<void>(pthread_cond_broadcast(&m_changed));
}

bool Line::OthersRest() {
    const Held held(m_lock);
    return m_watch.Look(Standing()) != ThreadWatch::Others::kRun;
}

/// A thread that is alone is never asked: its program pays nothing for the others it could have.
class OneThread : public VirtualClock::Sharers {
public:
    bool MayMove(const VirtualClock::Wait& wait) override {
        return BoardTurn::IsAlone() || TheLine().MayMove(wait);
    }
};

}  // namespace

bool BoardTurn::IsMine() {
    return t_depth > 0 || t_inLine > 0;
}

bool BoardTurn::IsAlone() {
    return __libc_single_threaded != 0;
}

void BoardTurn::Take() {
    if (t_depth++ == 0 && !IsAlone()) {
        // What the board is in the middle of is not left so.
        static_cast<void>(pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &t_cancelling));
        TheLine().Take();
        t_stoodInLine = true;
    }
}

void BoardTurn::GiveBack() {
    MustHold(t_depth > 0, "a turn that is given back has been taken");
    if (--t_depth == 0 && std::exchange(t_stoodInLine, false)) {
        TheLine().GiveBack();
        static_cast<void>(pthread_setcancelstate(t_cancelling, nullptr));
    }
}

void BoardTurn::BeginAnew() {
    g_line = new Line;
    t_depth = 0;
    t_stoodInLine = false;
    g_arriving = 0;
}

bool BoardTurn::OthersRest() {
    return IsAlone() || TheLine().OthersRest();
}

VirtualClock::Sharers& BoardTurn::Sharers() {
    static auto* sharers = new OneThread;
    return *sharers;
}

Elsewhere::Elsewhere(std::optional<Instant> deadline) : m_deadline(deadline) {
    TheLine().Leave(&m_deadline);
}

Elsewhere::~Elsewhere() {
    TheLine().Return(&m_deadline);
}

}  // namespace vboard
