// SPDX-License-Identifier: MIT
#include "tests/architecture/BannedCalls.h"

#include <array>
#include <regex>

namespace architecture {
namespace {

constexpr const char* kExceptions = "tests/architecture/banned-calls-allowed.txt";

struct Ban {
    const char* kind;
    std::regex pattern;
    bool inLiterals;  ///< The pattern is looked for in the text with its literals.
    const char* remedy;
};

// A call by this name, not a member of something and not the end of a longer name.
std::regex Calls(const std::string& names) {
    return std::regex("(^|[^\\w.>])(" + names + ")\\s*\\(");
}

const std::array<Ban, 7>& Bans() {
    static const std::array<Ban, 7> bans{{
        {"clock",
         std::regex("\\b(system_clock|steady_clock|high_resolution_clock|utc_clock|file_clock)\\b"),
         false, "ask the board's VirtualClock"},
        {"clock",
         Calls("time|clock|clock_gettime|gettimeofday|timespec_get|localtime|gmtime|ftime|times"),
         false, "ask the board's VirtualClock"},
        {"sleep",
         std::regex("\\b(sleep_for|sleep_until)\\b|(^|[^\\w.>])"
                    "(sleep|usleep|nanosleep|clock_nanosleep|alarm|setitimer|timerfd_create)\\s*"
                    "\\("),
         false, "let virtual time pass: VirtualClock::Pass"},
        {"thread",
         std::regex("\\b(jthread|thread|mutex|async|future|condition_variable|pthread_\\w+|fork|"
                    "vfork|clone)\\b\\s*[<(>&*]|\\bstd::(jthread|thread|mutex|async)\\b"),
         false, "ask the VirtualClock for an action at an instant"},
        {"random",
         std::regex("\\b(random_device|default_random_engine|getrandom|getentropy|arc4random|"
                    "drand48)\\b|(^|[^\\w.>])(rand|srand|random)\\s*\\("),
         false, "use a generator whose seed is an input of the run"},
        {"order", std::regex("\\bunordered_(map|set|multimap|multiset)\\b"), false,
         "use std::map, std::set or a sorted vector: their order is the same in each run"},
        {"address", std::regex("%p|\\bfmt::ptr\\b"), true,
         "print a name or a number that is the same in each run"},
    }};
    return bans;
}

class Exceptions {
public:
    explicit Exceptions(const std::vector<Reasoned>& list)
        : m_list(list), m_used(list.size(), false) {}

    bool Allows(const SourceFile& file, const std::string& kind) {
        for (std::size_t i = 0; i < m_list.size(); ++i) {
            const std::size_t colon = m_list[i].word.find(':');
            if (m_list[i].word.substr(colon + 1) == kind &&
                file.IsIn(m_list[i].word.substr(0, colon))) {
                m_used[i] = true;
                return true;
            }
        }
        return false;
    }
    [[nodiscard]] std::vector<Finding> Unused() const {
        std::vector<Finding> findings;
        for (std::size_t i = 0; i < m_list.size(); ++i) {
            if (!m_used[i]) {
                findings.push_back({kExceptions, 1, "nothing needs " + m_list[i].word + " any more",
                                    "take its line out"});
            }
        }
        return findings;
    }

private:
    const std::vector<Reasoned>& m_list;
    std::vector<bool> m_used;
};

}  // namespace

std::vector<Finding> CheckBannedCalls(const SourceTree& tree,
                                      const std::vector<Reasoned>& allowed) {
    std::vector<Finding> findings;
    Exceptions exceptions(allowed);
    for (const SourceFile& file : tree) {
        if (!file.IsCpp() || !file.IsIn("vboard")) {
            continue;
        }
        for (const Ban& ban : Bans()) {
            int number = 0;
            for (const std::string& line : LinesOf(ban.inLiterals ? file.text : file.code)) {
                ++number;
                std::smatch match;
                if (std::regex_search(line, match, ban.pattern) &&
                    !exceptions.Allows(file, ban.kind)) {
                    findings.push_back({file.path, number,
                                        std::string("banned (") + ban.kind + "): " + match.str(),
                                        ban.remedy});
                }
            }
        }
    }
    const std::vector<Finding> unused = exceptions.Unused();
    findings.insert(findings.end(), unused.begin(), unused.end());
    return findings;
}

}  // namespace architecture
