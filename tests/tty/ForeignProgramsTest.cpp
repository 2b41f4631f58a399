// SPDX-License-Identifier: MIT

// Programs that nobody here wrote, as they are: shells, what shells start, and languages. Each
// exports a line, sets its direction, moves it and reads it back, and is told when that fails.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

const std::string kInShell =
    "g=/sys/class/gpio; echo 86 > $g/export && echo out > $g/gpio86/direction &&"
    " echo 1 > $g/gpio86/value && read v < $g/gpio86/value && echo $v &&"
    " echo 0 > $g/gpio86/value && cat $g/gpio86/value;"
    " echo 86 > $g/export || echo refused";
constexpr const char* kFromShell = "1\n0\nrefused\n";

class ShellTest : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(ShellTest, MovesALineAndReadsItBack) {
    std::vector<std::string> program = GetParam();
    if (!IsInstalled(program.front())) {
        GTEST_SKIP() << program.front() << " is missing (scripts/install-packages test)";
    }
    program.insert(program.end(), {"-c", kInShell});
    ProbeRun run;
    const runs::Ended ended = run.Run(program);
    EXPECT_EQ(ended.output, kFromShell) << ended.error;
    // Each in its own words.
    EXPECT_NE(ended.error.find(" error"), std::string::npos) << ended.error;
}

INSTANTIATE_TEST_SUITE_P(Shell, ShellTest,
                         testing::Values(std::vector<std::string>{"bash"},
                                         std::vector<std::string>{"dash"},
                                         std::vector<std::string>{"busybox", "sh"}),
                         [](const auto& test) { return test.param.front(); });

struct Command {
    const char* name;
    const char* line;    ///< What a shell is told.
    const char* output;  ///< All of standard output.
};

/// The case as test lists show it.
void PrintTo(const Command& one, std::ostream* out) {
    *out << one.name;
}

class CommandTest : public testing::TestWithParam<Command> {};

TEST_P(CommandTest, ReachesTheLineThroughAStreamThatTheShellOpened) {
    ProbeRun run;
    const std::string line = std::string("g=/sys/class/gpio; ") + GetParam().line;
    const runs::Ended ended = run.Run({"sh", "-c", line});
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_EQ(ended.output, GetParam().output) << ended.error;
}

INSTANTIATE_TEST_SUITE_P(
    Coreutils, CommandTest,
    testing::Values(
        Command{"echo", "/bin/echo 86 >$g/export && cat $g/gpio86/direction", "in\n"},
        Command{"echoSaysThatItIsRefused", "/bin/echo 999 2>&1 >$g/export || true",
                "/bin/echo: write error: Invalid argument\n"},
        Command{"printf", "/usr/bin/printf 86 >$g/export && cat $g/gpio86/direction", "in\n"},
        Command{"seq", "seq 86 86 >$g/export && cat $g/gpio86/direction", "in\n"},
        Command{"tee", "echo 86 | tee $g/export && cat $g/gpio86/direction", "86\nin\n"},
        Command{"dd", "echo 86 | dd of=$g/export status=none && cat $g/gpio86/direction", "in\n"},
        Command{"cp", "echo 86 >n; cp n $g/export && cp $g/gpio86/direction d && cat d", "in\n"},
        Command{"od", "echo 86 >$g/export; od -An -c $g/gpio86/direction", "   i   n  \\n\n"},
        Command{"sort", "echo 86 >$g/export; sort $g/gpio86/direction", "in\n"},
        Command{"cut", "echo 86 >$g/export; cut -c 1 $g/gpio86/direction", "i\n"},
        Command{"head", "echo 86 >$g/export; head -c 1 $g/gpio86/direction", "i"},
        Command{"wc", "echo 86 >$g/export; wc -l <$g/gpio86/direction", "1\n"},
        Command{"grep", "echo 86 >$g/export; grep -c in $g/gpio86/direction", "1\n"},
        Command{"ls", "echo 86 >$g/export; ls $g; ls $g/gpio86",
                "export\ngpio86\nunexport\nactive_low\ndirection\nedge\nvalue\n"},
        Command{"cd", "cd $g && echo 86 >export && cd gpio86 && cat direction && pwd -P && ls ..",
                "in\n/sys/class/gpio/gpio86\nexport\ngpio86\nunexport\n"},
        Command{"aSymbolicLink", "ln -s $g/export l; echo 86 >l && cat $g/gpio86/direction",
                "in\n"},
        Command{"realpath", "ln -s /dev/ttyS1 p; realpath p; readlink -f /dev/./ttyS1",
                "/dev/ttyS1\n/dev/ttyS1\n"},
        Command{"rm", "rm -f /dev/ttyS1 2>/dev/null || test -c /dev/ttyS1 && echo there",
                "there\n"},
        Command{"flock", "flock /dev/ttyS1 flock -n /dev/ttyS1 echo both || echo refused",
                "refused\n"},
        Command{"highNumbers",
                "bash -c 'exec 200>lock; flock -x 200; echo 86' >$g/export; ls -d $g/gpio86",
                "/sys/class/gpio/gpio86\n"},
        Command{"sed", "echo 86 >$g/export; sed s/i/o/ $g/gpio86/direction", "on\n"}),
    [](const auto& test) { return test.param.name; });

struct Script {
    const char* interpreter;
    const char* option;
    const char* text;
};

/// The case as test lists show it.
void PrintTo(const Script& one, std::ostream* out) {
    *out << one.interpreter;
}

class ScriptTest : public testing::TestWithParam<Script> {};

TEST_P(ScriptTest, MovesALineAndReadsItBack) {
    const Script& script = GetParam();
    if (!IsInstalled(script.interpreter)) {
        GTEST_SKIP() << script.interpreter << " is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const runs::Ended ended = run.Run({script.interpreter, script.option, script.text});
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_EQ(ended.output, "1\n0\nrefused\n") << ended.error;
}

constexpr const char* kPython = R"(
import shutil
g = '/sys/class/gpio/'
def put(name, text):
    with open(g + name, 'w') as file:
        file.write(text)
put('export', '86')
put('gpio86/direction', 'out')
put('gpio86/value', '1')
shutil.copyfile(g + 'gpio86/value', 'copy')
print(open('copy').read(), end='')
put('gpio86/value', '0')
print(open(g + 'gpio86/value').read(), end='')
try:
    put('export', '86')
except OSError:
    print('refused')
)";

constexpr const char* kPerl = R"(
my $g = '/sys/class/gpio/';
sub put { open(my $f, '>', $g . $_[0]) or return 0; print $f $_[1]; return close($f); }
sub get { open(my $f, '<', $g . $_[0]) or die; return <$f>; }
put('export', '86') or die;
put('gpio86/direction', 'out') or die;
put('gpio86/value', '1') or die;
print get('gpio86/value');
put('gpio86/value', '0') or die;
print get('gpio86/value');
put('export', '86') or print "refused\n";
)";

INSTANTIATE_TEST_SUITE_P(Language, ScriptTest,
                         testing::Values(Script{"/usr/bin/python3", "-c", kPython},
                                         Script{"perl", "-e", kPerl}),
                         [](const auto& test) {
                             const std::string name = test.param.interpreter;
                             return name.substr(name.rfind('/') + 1);
                         });

constexpr const char* kRust = R"(
use std::{fs, io};
fn main() {
    let g = "/sys/class/gpio/";
    fs::write(format!("{g}export"), "86").unwrap();
    fs::write(format!("{g}gpio86/direction"), "out").unwrap();
    fs::write(format!("{g}gpio86/value"), "1").unwrap();
    let mut value = fs::File::open(format!("{g}gpio86/value")).unwrap();
    io::copy(&mut value, &mut io::stdout()).unwrap();
    fs::write(format!("{g}gpio86/value"), "0").unwrap();
    fs::copy(format!("{g}gpio86/value"), "copy").unwrap();
    print!("{}", fs::read_to_string("copy").unwrap());
    if fs::write(format!("{g}export"), "86").is_err() {
        println!("refused");
    }
}
)";

TEST(Language, RustMovesALineAndReadsItBack) {
    if (!IsInstalled("/usr/bin/rustc")) {
        GTEST_SKIP() << "rustc is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const std::string program = run.PathOf("program");
    std::ofstream(program + ".rs") << kRust;
    ASSERT_EQ(std::system(("/usr/bin/rustc -o " + program + " " + program + ".rs").c_str()), 0);
    const runs::Ended ended = run.Run({program});
    EXPECT_EQ(ended.output, "1\n0\nrefused\n") << ended.error;
}

TEST(Language, AChildThatPythonStartsDoesNotTakeItsParentsPort) {
    if (!IsInstalled("/usr/bin/python3")) {
        GTEST_SKIP() << "python3 is missing (scripts/install-packages test)";
    }
    constexpr const char* kScript = R"(
import os, subprocess
port = os.open('/dev/ttyS1', os.O_RDWR)
print(subprocess.run(['cat'], input=b'passed on', capture_output=True).stdout)
print(os.write(port, b'U'))
)";
    ProbeRun run;
    const runs::Ended ended = run.Run({"/usr/bin/python3", "-c", kScript});
    EXPECT_EQ(ended.output, "b'passed on'\n1\n") << ended.error;
    EXPECT_EQ(run.Calls(), (std::vector<std::string>{
                               "open /dev/ttyS1 O_RDWR|O_CLOEXEC = 0",
                               "write /dev/ttyS1 55 = 1",
                           }));
}

}  // namespace
}  // namespace tty
