// SPDX-License-Identifier: MIT
#include <elf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "tests/commands/BoardFolder.h"

// A program that would run past the board, on the machine's own devices, is not started.

namespace commands {
namespace {

std::string Tool() {
    return FLASHMCU_PROGRAM_DIR "/flashmcu";
}

std::string Library() {
    return FLASHMCU_PROGRAM_DIR "/libvboard.so";
}

/// A copy of the tool, as "program", that can be changed.
class Changed {
public:
    explicit Changed(const BoardFolder& folder) : m_folder(folder) {
        std::filesystem::copy_file(Tool(), Path());
        m_bytes = folder.Bytes("program");
        std::memcpy(&m_header, m_bytes.data(), sizeof m_header);
    }
    [[nodiscard]] std::string Path() const { return m_folder.PathOf("program"); }

    void SetByte(std::size_t offset, std::uint8_t value) { m_bytes.at(offset) = value; }
    /// The segment that names the loader becomes one that means nothing.
    void TakeLoaderAway() { StoreSegment(LoaderAt(), PT_NULL); }
    /// Its notes are those of another linker.
    void SetLinker(const std::string& name) {
        constexpr std::string_view kLinker("GNU", 4);
        for (std::size_t index = 0; index < m_header.e_phnum; ++index) {
            Elf64_Phdr segment{};
            std::memcpy(&segment, m_bytes.data() + m_header.e_phoff + index * sizeof segment,
                        sizeof segment);
            if (segment.p_type != PT_NOTE) {
                continue;
            }
            const auto begin = m_bytes.begin() + static_cast<std::ptrdiff_t>(segment.p_offset);
            const auto end = begin + static_cast<std::ptrdiff_t>(segment.p_filesz);
            const auto found = std::search(begin, end, kLinker.begin(), kLinker.end());
            ASSERT_NE(found, end);
            std::fill_n(found, kLinker.size(), std::uint8_t{0});
            std::copy(name.begin(), name.end(), found);
        }
    }
    void SetLoader(const std::string& name) {
        Elf64_Phdr segment{};
        std::memcpy(&segment, m_bytes.data() + LoaderAt(), sizeof segment);
        ASSERT_LT(name.size(), segment.p_filesz);
        std::fill_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(segment.p_offset),
                    segment.p_filesz, std::uint8_t{0});
        std::copy(name.begin(), name.end(),
                  m_bytes.begin() + static_cast<std::ptrdiff_t>(segment.p_offset));
    }
    void Store() const { m_folder.Overwrite("program", m_bytes); }

private:
    [[nodiscard]] std::size_t LoaderAt() const {
        for (std::size_t index = 0; index < m_header.e_phnum; ++index) {
            const std::size_t at = m_header.e_phoff + index * sizeof(Elf64_Phdr);
            std::uint32_t type = 0;
            std::memcpy(&type, m_bytes.data() + at, sizeof type);
            if (type == PT_INTERP) {
                return at;
            }
        }
        ADD_FAILURE() << "the tool has no loader";
        return 0;
    }
    void StoreSegment(std::size_t at, std::uint32_t type) {
        std::memcpy(m_bytes.data() + at, &type, sizeof type);
    }

    const BoardFolder& m_folder;
    std::vector<std::uint8_t> m_bytes;
    Elf64_Ehdr m_header{};
};

/// What is said of the tool after a change of its file.
template <class Change>
std::string RefusalAfter(Change change) {
    const BoardFolder folder;
    Changed program(folder);
    change(program);
    program.Store();
    return folder.Refuses("run -- ./program -v");
}

TEST(RefusedProgram, OneLinkedStatically) {
    EXPECT_EQ(RefusalAfter([](Changed& program) { program.TakeLoaderAway(); }),
              "vboard: './program' is linked statically, so no board can stand in front of its C "
              "library: link it dynamically\n");
}

TEST(RefusedProgram, OneOfGosLinker) {
    EXPECT_EQ(RefusalAfter([](Changed& program) { program.SetLinker("Go"); }),
              "vboard: './program' is written in Go, whose programs turn to the kernel past the C "
              "library, where no board can stand: take one that calls the C library\n");
}

TEST(RefusedProgram, OneThatWouldNotSeeTheLibrary) {
    const BoardFolder folder;
    std::filesystem::copy_file(Library(), folder.PathOf("own.so"));
    const runs::Ended ended = runs::RunProcess({"vboard", "run", "--library", "own.so", "--", "sh",
                                                "-c", "rm own.so; cat </dev/null; echo went on"},
                                               folder.PathOf("."));
    EXPECT_EQ(ended.status, 125);
    EXPECT_NE(ended.error.find("can't be started where the board's library '" +
                               folder.PathOf("own.so") + "' is out of its sight"),
              std::string::npos)
        << ended.error;
}

TEST(RefusedProgram, OneOfAnotherWordSize) {
    EXPECT_EQ(RefusalAfter([](Changed& program) { program.SetByte(EI_CLASS, ELFCLASS32); }),
              "vboard: './program' is built for another processor or word size than the library of "
              "the board: give the library built for it with --library, and an emulator with --via "
              "if it needs one\n");
}

TEST(RefusedProgram, OneOfAnotherLoader) {
    EXPECT_EQ(RefusalAfter([](Changed& program) { program.SetLoader("/lib/ld-musl-x.so.1"); }),
              "vboard: './program' is started by '/lib/ld-musl-x.so.1', which can't load the "
              "library of the board: build it for glibc\n");
}

TEST(RefusedProgram, OneWhoseLoaderIsNotThere) {
    EXPECT_EQ(RefusalAfter([](Changed& program) { program.SetLoader("/lib/ld-nowhere.so"); }),
              "vboard: './program' is started by '/lib/ld-nowhere.so', which is not there: install "
              "it\n");
}

TEST(RefusedProgram, OneWithRightsOfItsOwn) {
    const BoardFolder folder;
    const Changed program(folder);
    // What root can make; everybody else has one at hand.
    const bool root = geteuid() == 0;
    const std::string path = root ? "./program" : "/usr/bin/su";
    if (root) {
        ASSERT_EQ(chown(program.Path().c_str(), 65534, 65534), 0);
        ASSERT_EQ(chmod(program.Path().c_str(), 04755), 0);
    }
    EXPECT_EQ(folder.Refuses("run -- " + path + " -v"),
              "vboard: '" + path +
                  "' runs with rights of its own (set-user-ID, set-group-ID or capabilities) and "
                  "takes no library from its caller: run a copy without them\n");
}

TEST(RefusedProgram, AScriptWhoseInterpreterIsOne) {
    const BoardFolder folder;
    Changed program(folder);
    program.TakeLoaderAway();
    program.Store();
    const std::string script = "#! " + folder.PathOf("program") + " -v\n";
    folder.Overwrite("script", {script.begin(), script.end()});
    ASSERT_EQ(chmod(folder.PathOf("script").c_str(), 0755), 0);
    EXPECT_NE(folder.Refuses("run -- ./script").find("is linked statically"), std::string::npos);
}

TEST(RefusedProgram, OneThatAScriptStarts) {
    const BoardFolder folder;
    Changed program(folder);
    program.TakeLoaderAway();
    program.Store();
    const runs::Ended ended = runs::RunProcess(
        {"vboard", "run", "--", "sh", "-c", "./program -v; echo; true"}, folder.PathOf("."));
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(ended.error,
              "vboard: './program' is linked statically, so no board can stand in front of its C "
              "library: link it dynamically\n");
}

TEST(ProgramWithAnEmptyEnvironment, IsOnTheBoardAllTheSame) {
    const BoardFolder folder;
    const runs::Ended ended = runs::RunProcess(
        {"vboard", "run", "--quiet", "--", "env", "-i", Tool(), "-v"}, folder.PathOf("."));
    EXPECT_EQ(ended.status, 0);
    EXPECT_NE(ended.output.find("Current MSP version is 256\n"), std::string::npos) << ended.error;
}

TEST(Library, WithABlankOrAColonInItsPathIsRefused) {
    const BoardFolder folder;
    for (const char* name : {"my dir", "a:b", "a$b"}) {
        const std::string place = folder.PathOf(name);
        std::filesystem::create_directory(place);
        std::filesystem::copy_file(Library(), place + "/libvboard.so");
        std::filesystem::copy_file(FLASHMCU_PROGRAM_DIR "/vboard", place + "/vboard");
        const runs::Ended ended =
            runs::RunProcess({place + "/vboard", "run", "--", Tool(), "-v"}, folder.PathOf("."));
        EXPECT_EQ(ended.status, 125);
        EXPECT_EQ(ended.output, "");
        const std::string letter(1, name[std::strcspn(name, " :$")]);
        EXPECT_EQ(ended.error, "vboard: the library '" + place + "/libvboard.so' has a '" + letter +
                                   "' in its path, which the dynamic loader can't take: move it, "
                                   "or give a copy with --library\n");
    }
}

TEST(Library, OfARelativePathIsLoadedWhereverTheProgramIs) {
    const BoardFolder folder;
    std::filesystem::copy_file(Library(), folder.PathOf("own.so"));
    const runs::Ended ended = runs::RunProcess({"vboard", "run", "--quiet", "--library", "own.so",
                                                "--", "sh", "-c", "cd / && flashmcu -v"},
                                               folder.PathOf("."));
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_NE(ended.output.find("Current MSP version is 256\n"), std::string::npos) << ended.error;
}

TEST(Library, ThatIsNoneIsRefused) {
    const BoardFolder folder;
    folder.Overwrite("text", {'a', '\n'});
    EXPECT_EQ(folder.Refuses("run --library text -- flashmcu -v"),
              "vboard: the library '" + folder.PathOf("text") +
                  "' is neither a program nor a library: give a libvboard.so with --library\n");
}

TEST(Library, OfAnotherKindIsAnErrorOfTheRun) {
    const BoardFolder folder;
    // A program, too, is an ELF file; the dynamic loader does not take it for a library.
    const runs::Ended ended = folder.Vboard("run --quiet --library " + Tool() + " -- true");
    EXPECT_EQ(ended.status, 125);
    // It may be over before it is ended.
    EXPECT_NE(ended.error.find("the library of the board"), std::string::npos) << ended.error;
    EXPECT_NE(ended.error.find(": nothing of what it did has reached the board\n"),
              std::string::npos)
        << ended.error;
}

TEST(Library, OfAnotherKindEndsAProgramThatWouldGoOnWithoutIt) {
    const BoardFolder folder;
    const runs::Ended ended = runs::RunProcess(
        {"sh", "-c", "mkfifo f; exec 3<>f; vboard run --library " + Tool() + " -- cat f"},
        folder.PathOf("."));
    EXPECT_EQ(ended.status, 125);
    EXPECT_NE(ended.error.find("vboard: 'cat' has started without the library of the board and was "
                               "ended: nothing of what it did has reached the board\n"),
              std::string::npos)
        << ended.error;
}

}  // namespace
}  // namespace commands
