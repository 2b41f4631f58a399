// SPDX-License-Identifier: MIT
#include "guard/report/Report.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fcntl.h>
#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

#include "guard/report/Collector.h"
#include "guard/report/JsonObject.h"
#include "guard/report/Output.h"
#include "guard/report/Words.h"
#include "tests/support/TempFolder.h"

namespace guard {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

Duration theTime{0};

Duration TestTime() {
    return theTime;
}

/// A pipe that keeps what was written; its writing end is not read before it is asked for.
class Pipe {
public:
    Pipe() {
        EXPECT_EQ(pipe2(m_ends.data(), O_CLOEXEC), 0);
        EXPECT_NE(fcntl(m_ends[0], F_SETFL, O_NONBLOCK), -1);
    }
    ~Pipe() {
        CloseReader();
        (void)close(m_ends[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int Writer() const { return m_ends[1]; }
    void CloseReader() {
        if (m_ends[0] >= 0) {
            (void)close(m_ends[0]);
        }
        m_ends[0] = -1;
    }
    std::string Take() {
        std::string text;
        std::array<char, 4096> part{};
        for (ssize_t count = 0; (count = read(m_ends[0], part.data(), part.size())) > 0;) {
            text.append(part.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    std::array<int, 2> m_ends{-1, -1};
};

std::string FileText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

Verdict Installed() {
    Verdict verdict;
    verdict.command = "install";
    verdict.board = "BRDA";
    verdict.port = "/dev/ttyS1";
    verdict.outcome = Outcome::kInstalled;
    verdict.chip = ChipState::kImageRunning;
    verdict.imagePath = "a.hex";
    verdict.imageSha256 = "12ab";
    verdict.contentSha256 = "34cd";
    verdict.readSha256 = "34cd";
    verdict.imageBytes = 194;
    verdict.blocks = 14;
    verdict.imageVersion = 4660;
    verdict.versionAfter = 4660;
    verdict.loader = LoaderIdentity{0xF249, 0x0161};
    verdict.bitsPerSecond = 9600;
    verdict.entries = 1;
    verdict.massErases = 1;
    verdict.bytesWritten = 194;
    verdict.bytesRead = 56832;
    verdict.phaseNs[static_cast<std::size_t>(Phase::kWrite)] = 1'500'000'000;
    verdict.totalNs = 98'765'432'100;
    return verdict;
}

Verdict Failed() {
    Verdict verdict;
    verdict.command = "install";
    verdict.board = "BRDA";
    verdict.status = Status::kFailed;
    verdict.chip = ChipState::kNoFirmware;
    verdict.problem = "the loader fell silent";
    verdict.remedy = "run it again";
    return verdict;
}

class AReport : public testing::Test {
protected:
    AReport() {
        (void)std::signal(SIGPIPE, SIG_IGN);
        theTime = 100s;
        m_options.output = m_output.Writer();
        m_options.error = m_error.Writer();
        m_options.now = TestTime;
    }

    /// A small run in which a tenth of a second passes with each of ten advances.
    static void Play(Report& report) {
        report.OnPhase(Phase::kErase, 0);
        theTime += 1s;
        report.OnPhase(Phase::kWrite, 1000);
        for (std::uint32_t done = 100; done <= 1000; done += 100) {
            theTime += 300ms;
            report.OnAdvance(done);
        }
    }

    /// Two frames, an answer that does not come, a line and two notes.
    static void PlayFrames(Report& report) {
        const std::array<std::uint8_t, 3> frame{0x80, 0x18, 0xFF};
        report.OnFrame(true, frame);
        report.OnFrame(false, std::span(frame).first(1));
        report.OnFrame(false, {});
        report.OnLog("flashmcu/FWU_MSP:1 info text");
        report.OnNote("a");
        report.OnNote("b");
    }

    ReportOptions m_options;
    Pipe m_output;
    Pipe m_error;
    TempFolder m_folder;
};

// ---- words ----

TEST_F(AReport, WithoutATerminalWritesALineASecondAtMostAndTheResult) {
    Report report(m_options);
    Play(report);
    report.OnVerdict(Installed());
    EXPECT_EQ(m_output.Take(),
              "Erasing\n"
              "Writing 0 %, 0 of 1000 bytes\n"
              "Writing 40 %, 400 of 1000 bytes, 1 s left\n"
              "Writing 80 %, 800 of 1000 bytes, 0 s left\n"
              "installed version 4660: 194 bytes in 14 blocks, read back, 98.7 s\n");
    EXPECT_EQ(m_error.Take(), "");
    EXPECT_TRUE(report.VerdictWritten());
}

TEST_F(AReport, HoldsNotesBackToOneASecondAndCountsThem) {
    Report report(m_options);
    report.OnPhase(Phase::kWrite, 1000);
    report.OnNote("one");
    report.OnNote("two");
    report.OnNote("three");
    theTime += 1s;
    report.OnAdvance(5);
    theTime += 1s;
    report.OnAdvance(20);
    theTime += 1s;
    report.OnNote("four");
    EXPECT_EQ(m_output.Take(),
              "Writing 0 %, 0 of 1000 bytes\n"
              "three (and 2 notes before)\n"
              "Writing 2 %, 20 of 1000 bytes, 98 s left\n"
              "four\n");
}

TEST_F(AReport, GuessesNoTimeFromTheFirstBytesAndNoneAtTheEnd) {
    Report report(m_options);
    report.OnPhase(Phase::kProve, 57056);
    theTime += 2s;
    report.OnAdvance(2);
    theTime += 1s;
    report.OnAdvance(5706);
    theTime += 1s;
    report.OnAdvance(57056);
    EXPECT_EQ(m_output.Take(),
              "Reading back 0 %, 0 of 57056 bytes\n"
              "Reading back 0 %, 2 of 57056 bytes\n"
              "Reading back 10 %, 5706 of 57056 bytes, 26 s left\n"
              "Reading back 100 %, 57056 of 57056 bytes\n");
}

TEST_F(AReport, ThatIsVerboseWritesEveryFrameAndLine) {
    m_options.verbose = true;
    Report plain(m_options);
    PlayFrames(plain);
    EXPECT_EQ(m_output.Take(), "> 80 18 FF\n< 80\n< \nflashmcu/FWU_MSP:1 info text\na\nb\n");
    m_options.columns = 80;
    Report terminal(m_options);
    PlayFrames(terminal);
    std::string expected;
    for (const char* line :
         {"> 80 18 FF", "< 80", "< ", "flashmcu/FWU_MSP:1 info text", "a", "b"}) {
        expected += "\r\x1b[K" + std::string(line) + "\n\r\x1b[KWaiting for the port";
    }
    EXPECT_EQ(m_output.Take(), expected);
    m_options.json = true;
    Report json(m_options);
    PlayFrames(json);
    EXPECT_EQ(m_output.Take(), R"({"type":"frame","to":"chip","bytes":"80 18 FF"})"
                               "\n"
                               R"({"type":"frame","to":"host","bytes":"80"})"
                               "\n"
                               R"({"type":"frame","to":"host","bytes":""})"
                               "\n"
                               R"({"type":"log","text":"flashmcu/FWU_MSP:1 info text"})"
                               "\n"
                               R"({"type":"note","text":"a"})"
                               "\n"
                               R"({"type":"note","text":"b"})"
                               "\n");
}

TEST_F(AReport, ThatIsNotVerboseWritesNoFrameAndNoLine) {
    Report plain(m_options);
    PlayFrames(plain);
    EXPECT_EQ(m_output.Take(), "a\n");
    m_options.columns = 80;
    Report terminal(m_options);
    PlayFrames(terminal);
    EXPECT_EQ(m_output.Take(),
              "\r\x1b[Ka\n\r\x1b[KWaiting for the port\r\x1b[Kb\n\r\x1b[KWaiting for the port");
    m_options.json = true;
    Report json(m_options);
    PlayFrames(json);
    EXPECT_EQ(m_output.Take(), R"({"type":"note","text":"a"})"
                               "\n"
                               R"({"type":"note","text":"b"})"
                               "\n");
}

TEST_F(AReport, ThatIsQuietSaysOnlyWhatIsWrong) {
    m_options.quiet = true;
    Report good(m_options);
    Play(good);
    good.OnVerdict(Installed());
    EXPECT_EQ(m_output.Take() + m_error.Take(), "");
    Report bad(m_options);
    bad.OnVerdict(Failed());
    EXPECT_EQ(m_output.Take(), "");
    EXPECT_EQ(m_error.Take(),
              "flashguard: the loader fell silent; the chip holds no runnable firmware; run it "
              "again\n");
}

TEST_F(AReport, OnATerminalWritesOneLineAnewWithABarAndAGreenResult) {
    m_options.columns = 80;
    m_options.colours = true;
    Report report(m_options);
    report.OnPhase(Phase::kErase, 0);
    report.OnPhase(Phase::kWrite, 1000);
    theTime += 50ms;
    report.OnAdvance(1);
    theTime += 950ms;
    report.OnAdvance(500);
    report.OnNote("sent again");
    report.OnVerdict(Installed());
    EXPECT_EQ(m_output.Take(),
              "\r\x1b[KErasing"
              "\r\x1b[K[....................] Writing 0 %, 0 of 1000 bytes"
              "\r\x1b[K[##########..........] Writing 50 %, 500 of 1000 bytes, 1 s left"
              "\r\x1b[K\x1b[33msent again\x1b[0m\n"
              "\r\x1b[K[##########..........] Writing 50 %, 500 of 1000 bytes, 1 s left"
              "\r\x1b[K\x1b[32minstalled version 4660: 194 bytes in 14 blocks, read back, "
              "98.7 s\x1b[0m\n");
}

TEST_F(AReport, OnANarrowTerminalWithoutColoursStaysInItsLine) {
    m_options.columns = 20;
    Report report(m_options);
    report.OnPhase(Phase::kWrite, 1000);
    report.OnVerdict(Failed());
    EXPECT_EQ(m_output.Take(), "\r\x1b[KWriting 0 %, 0 of 1\r\x1b[K");
}

TEST_F(AReport, HasABarWhereThereIsRoomForIt) {
    for (const auto& [columns, bar] : {std::pair(69U, ""), {70U, "[....................] "}}) {
        m_options.columns = columns;
        Report report(m_options);
        report.OnPhase(Phase::kWrite, 1000);
        EXPECT_EQ(m_output.Take(), "\r\x1b[K" + std::string(bar) + "Writing 0 %, 0 of 1000 bytes");
    }
}

TEST_F(AReport, LooksWhatItsOutputIs) {
    int outer = -1;
    int terminal = -1;
    winsize size{};
    size.ws_col = 100;
    ASSERT_EQ(openpty(&outer, &terminal, nullptr, nullptr, &size), 0);
    const auto look = [this](int output, const char* term, const char* noColour) {
        (void)setenv("TERM", term, 1);
        (void)setenv("NO_COLOR", noColour, 1);
        ReportOptions options = m_options;
        options.output = output;
        LookAround(options);
        return std::to_string(options.columns) + (options.colours ? " colours" : " plain");
    };
    EXPECT_EQ(look(terminal, "xterm", ""), "100 colours");
    EXPECT_EQ(look(terminal, "xterm", "1"), "100 plain");
    EXPECT_EQ(look(terminal, "dumb", ""), "0 plain");
    EXPECT_EQ(look(terminal, "", ""), "0 plain");
    EXPECT_EQ(look(m_output.Writer(), "xterm", ""), "0 plain");
    size.ws_col = 0;
    ASSERT_EQ(ioctl(terminal, TIOCSWINSZ, &size), 0);
    EXPECT_EQ(look(terminal, "xterm", ""), "80 colours");
    (void)close(terminal);
    (void)close(outer);
    (void)setenv("NOTIFY_SOCKET", "@a", 1);
    ReportOptions options;
    LookAround(options);
    EXPECT_EQ(options.notifySocket, "@a");
    (void)unsetenv("NOTIFY_SOCKET");
    LookAround(options);
    EXPECT_EQ(options.notifySocket, "");
}

// ---- what is wrong ----

TEST_F(AReport, SaysThatThereMayBeMoreThanItKeeps) {
    for (const unsigned count : {99U, 100U}) {
        image::Findings findings;
        std::string lines;
        for (unsigned line = 1; line <= count; ++line) {
            findings.Refuse(line, "damaged", "get it anew");
            lines += "a.hex:" + std::to_string(line) + ": damaged; get it anew\n";
        }
        Report report(m_options);
        report.OnFindings("a.hex", findings);
        report.OnVerdict(Failed());
        EXPECT_EQ(
            m_error.Take(),
            "flashguard: the loader fell silent; the chip holds no runnable firmware; run it "
            "again\n" +
                lines +
                (count < 100 ? "" : "a.hex: there may be more; the rest was not looked at\n"));
    }
}

TEST_F(AReport, ListsWhatRefusesAnImageBehindTheSentence) {
    image::Findings findings;
    findings.Say(1, "odd", "nothing");
    findings.Refuse(2, "damaged", "get it anew");
    Report report(m_options);
    report.OnFindings("a.hex", findings);
    report.OnComplaints({"b.toml:1: more"});
    report.OnVerdict(Failed());
    EXPECT_EQ(m_output.Take(), "");
    EXPECT_EQ(m_error.Take(),
              "flashguard: the loader fell silent; the chip holds no runnable firmware; run it "
              "again\n"
              "a.hex:1: odd; nothing\n"
              "a.hex:2: damaged; get it anew\n"
              "b.toml:1: more\n");
}

TEST_F(AReport, SaysWhatItFindsInAnImageThatIsTaken) {
    image::Findings findings;
    findings.Say(1, "odd", "nothing");
    Report report(m_options);
    report.OnFindings("a.hex", findings);
    EXPECT_EQ(m_output.Take(), "a.hex:1: odd; nothing\n");
    m_options.json = true;
    Report json(m_options);
    json.OnFindings("a.hex", findings);
    EXPECT_EQ(m_output.Take(),
              "{\"type\":\"finding\",\"path\":\"a.hex\",\"line\":1,\"refused\":false,"
              "\"what\":\"odd\",\"remedy\":\"nothing\"}\n");
}

// ---- outputs that fail ----

TEST_F(AReport, GoesOnWhenItsReaderHasGone) {
    m_output.CloseReader();
    m_options.json = true;
    Report report(m_options);
    Play(report);
    report.OnVerdict(Installed());
    EXPECT_TRUE(report.VerdictWritten());
}

TEST_F(AReport, DropsItsNewsWhenNobodyReadsAndDoesNotWait) {
    m_options.verbose = true;
    const std::string filling(4096, 'x');
    EXPECT_NE(fcntl(m_output.Writer(), F_SETFL, O_NONBLOCK), -1);
    while (write(m_output.Writer(), filling.data(), filling.size()) > 0) {
    }
    EXPECT_NE(fcntl(m_output.Writer(), F_SETFL, 0), -1);
    Report report(m_options);
    for (int line = 0; line < 1000; ++line) {
        report.OnNote("nobody reads this");
    }
    EXPECT_EQ(m_output.Take().find("nobody"), std::string::npos);
}

TEST_F(AReport, OnAFullDiskGoesOnAndKnowsThatTheJsonVerdictIsLost) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    m_options.output = full;
    Report words(m_options);
    Play(words);
    words.OnVerdict(Installed());
    EXPECT_TRUE(words.VerdictWritten());
    m_options.json = true;
    Report json(m_options);
    json.OnVerdict(Installed());
    EXPECT_FALSE(json.VerdictWritten());
    (void)close(full);
}

TEST_F(AReport, WritesTheCollectorsFileWholeOrNotAtAll) {
    m_options.prometheus = m_folder.PathOf("guard.prom");
    Report report(m_options);
    report.OnVerdict(Installed());
    EXPECT_TRUE(report.VerdictWritten());
    const std::string text = FileText(m_options.prometheus);
    EXPECT_NE(text.find("flashguard_status{board=\"BRDA\",command=\"install\"} 0\n"),
              std::string::npos);
    EXPECT_FALSE(std::ifstream(m_options.prometheus + ".part").good());

    m_options.prometheus = m_folder.PathOf("gone/guard.prom");
    Report failing(m_options);
    failing.OnVerdict(Failed());
    EXPECT_FALSE(failing.VerdictWritten());
    EXPECT_EQ(m_error.Take(),
              "flashguard: the loader fell silent; the chip holds no runnable firmware; run it "
              "again\n"
              "flashguard: the figures can't be written to '" +
                  m_options.prometheus + "': No such file or directory\n");
}

TEST(AFileThatIsWrittenWhole, LeavesTheOldOneWhenItCannotBe) {
    const TempFolder folder;
    const std::string path = folder.WriteFile("old", "old");
    (void)symlink("/dev/full", (path + ".part").c_str());
    EXPECT_EQ(WriteWholeFile(path, "new"), ELOOP);
    EXPECT_EQ(FileText(path), "old");
    (void)unlink((path + ".part").c_str());
    EXPECT_EQ(WriteWholeFile(path, "new"), 0);
    EXPECT_EQ(FileText(path), "new");
}

/// What is written beyond `bytes` of a file fails, as on a full disk, for as long as this lives.
class AFullDisk {
public:
    explicit AFullDisk(rlim_t bytes) {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &m_before), 0);
        m_handler = signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, m_before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~AFullDisk() {
        (void)setrlimit(RLIMIT_FSIZE, &m_before);
        (void)signal(SIGXFSZ, m_handler);
    }
    AFullDisk(const AFullDisk&) = delete;
    AFullDisk& operator=(const AFullDisk&) = delete;

private:
    rlimit m_before{};
    sighandler_t m_handler = SIG_DFL;
};

TEST(AFileThatIsWrittenWhole, OnAFullDiskLeavesTheOldOneAndNoPart) {
    const TempFolder folder;
    const std::string path = folder.WriteFile("old", "old");
    errno = EBUSY;
    {
        const AFullDisk disk(2);
        EXPECT_EQ(WriteWholeFile(path, "new"), EFBIG);
    }
    EXPECT_EQ(FileText(path), "old");
    EXPECT_FALSE(std::ifstream(path + ".part").good());
    errno = EBUSY;
    EXPECT_EQ(WriteWholeFile(path, "new"), 0);
    EXPECT_EQ(FileText(path), "new");
    (void)mkdir((path + ".folder").c_str(), 0700);
    EXPECT_EQ(WriteWholeFile(path + ".folder", "new"), EISDIR);
    EXPECT_FALSE(std::ifstream(path + ".folder.part").good());
}

TEST(AnOutput, EndsALineThatWasCutBeforeTheNextOne) {
    const TempFolder folder;
    const std::string path = folder.WriteFile("log", "");
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    Output output(file);
    {
        const AFullDisk disk(600);
        output.News(std::string(1000, 'x') + "\n");
        EXPECT_TRUE(output.Lost());
        // Neither the line's end nor the next line has room.
        output.News("lost\n");
    }
    output.News("next\n");
    output.News("more\n");
    (void)close(file);
    EXPECT_EQ(FileText(path), std::string(600, 'x') + "\nnext\nmore\n");
}

TEST(TheCollectorsText, HasEveryFigureOnceWithHelpAndType) {
    Verdict verdict = Installed();
    verdict.board = "A\"\\\n";
    const std::string labels = "{board=\"A\\\"\\\\\\n\",command=\"install\"";
    std::string expected;
    const auto head = [&expected](const std::string& name, const std::string& help) {
        expected +=
            "# HELP flashguard_" + name + " " + help + "\n# TYPE flashguard_" + name + " gauge\n";
    };
    const auto figure = [&](const std::string& name, const std::string& help,
                            const std::string& value) {
        head(name, help);
        expected += "flashguard_" + name + labels + "} " + value + "\n";
    };
    figure("status", "Exit status of the last run.", "0");
    figure("end_timestamp_seconds", "When the last run ended.", "1700000000");
    figure("duration_seconds", "Length of the last run.", "98.765432100");
    head("phase_seconds", "Length of each phase of the last run.");
    for (const std::string phase : {"lock", "ask", "enter", "erase", "prove-erased", "write",
                                    "prove", "commit", "start", "release", "read"}) {
        expected += "flashguard_phase_seconds" + labels + ",phase=\"" + phase + "\"} " +
                    (phase == "write" ? "1.500000000" : "0.000000000") + "\n";
    }
    figure("entries", "Ways into the loader that were tried.", "1");
    figure("reentries", "Sessions begun anew.", "0");
    figure("retries", "Exchanges repeated.", "0");
    figure("line_errors", "Damaged characters and answers cut short.", "0");
    figure("refusals", "Frames that the loader refused.", "0");
    figure("image_bytes", "Bytes of the image.", "194");
    const std::string before = expected;
    figure("firmware_version", "What the firmware says of itself.", "4660");
    EXPECT_EQ(CollectorText(verdict, 1'700'000'000), expected);
    verdict.versionAfter.reset();
    EXPECT_EQ(CollectorText(verdict, 1'700'000'000), before);
}

// ---- programs ----

TEST_F(AReport, InJsonHasPhasesNotesAndTheVerdictLast) {
    m_options.json = true;
    Report report(m_options);
    report.OnPhase(Phase::kProveErased, 0);
    report.OnPhase(Phase::kWrite, 1000);
    theTime += 100ms;
    report.OnAdvance(100);
    theTime += 100ms;
    report.OnAdvance(200);
    report.OnNote("a \"note\"");
    report.OnAdvance(1000);
    Verdict verdict;
    verdict.command = "info";
    verdict.outcome = Outcome::kTold;
    report.OnVerdict(verdict);
    EXPECT_EQ(
        m_output.Take(),
        R"({"type":"progress","phase":"prove-erased","done":0,"total":0})"
        "\n"
        R"({"type":"progress","phase":"write","done":0,"total":1000})"
        "\n"
        R"({"type":"progress","phase":"write","done":200,"total":1000})"
        "\n"
        R"({"type":"note","text":"a \"note\""})"
        "\n"
        R"({"type":"progress","phase":"write","done":1000,"total":1000})"
        "\n"
        R"({"type":"verdict","version":1,"command":"info","board":"","port":"","status":0,)"
        R"("status_name":"done","outcome":"told","chip":"untouched","signal":null,)"
        R"("problem":null,"remedy":null,"image":null,"read_sha256":null,"version_before":null,)"
        R"("version_after":null,"loader":null,"difference_at":null,"differing_bytes":0,)"
        R"("figures":{"entries":0,"reentries":0,"retries":0,"line_errors":0,"refusals":0,)"
        R"("mass_erases":0,"bytes_written":0,"bytes_read":0,"baud":0},)"
        R"("times_ns":{"lock":0,"ask":0,"enter":0,"erase":0,"prove-erased":0,"write":0,)"
        R"("prove":0,"commit":0,"start":0,"release":0,"read":0,"total":0}})"
        "\n");
}

TEST_F(AReport, InJsonHasAllFiguresOfAnInstall) {
    m_options.json = true;
    Report report(m_options);
    Verdict verdict = Installed();
    verdict.signal = 15;
    verdict.differenceAt = 0x2100;
    report.OnVerdict(verdict);
    const std::string line = m_output.Take();
    for (
        const char* part :
        {R"("chip":"image-running","signal":15)", R"("read_sha256":"34cd")",
         R"("image":{"path":"a.hex","sha256":"12ab","content_sha256":"34cd","bytes":194,"blocks":14,"version":4660})",
         R"("version_before":null,"version_after":4660,"loader":{"version":"0161","chip_id":"F249"})",
         R"("difference_at":8448)", R"("baud":9600)", R"("write":1500000000)",
         R"("total":98765432100)"}) {
        EXPECT_NE(line.find(part), std::string::npos) << part << "\n" << line;
    }
}

TEST(AJsonText, TakesTheFirstAndTheLastCharacterOfEachLength) {
    for (const std::string text :
         {" ", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(Quoted(text), "\"" + text + "\"");
    }
    EXPECT_EQ(Quoted("\x1F"), R"("\u001F")");
    const std::string replaced = "\xEF\xBF\xBD";
    for (const std::string text :
         {"\xC1\xBF", "\xC2\xC0", "\xE0\x9F\xBF", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF",
          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x90\x80\x80", "\x80"}) {
        std::string expected;
        for (std::size_t i = 0; i < text.size(); ++i) {
            expected += replaced;
        }
        EXPECT_EQ(Quoted(text + "z"), "\"" + expected + "z\"");
    }
    EXPECT_EQ(Quoted("\xC2z"), "\"" + replaced + "z\"");
    EXPECT_EQ(Quoted("\xE2\x82z"), "\"" + replaced + replaced + "z\"");
}

TEST(AJsonText, EscapesWhatHasToBeAndReplacesWhatIsNoUtf8) {
    EXPECT_EQ(Quoted("a\"b\\c\n\x01"), R"("a\"b\\c\u000A\u0001")");
    EXPECT_EQ(Quoted("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
              "\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\"");
    const std::string replaced = "\xEF\xBF\xBD";
    EXPECT_EQ(Quoted("\xFFz"), "\"" + replaced + "z\"");
    EXPECT_EQ(Quoted("\xC3"), "\"" + replaced + "\"");
    EXPECT_EQ(Quoted("\xC0\x80"), "\"" + replaced + replaced + "\"");
    EXPECT_EQ(Quoted("\xED\xA0\x80"), "\"" + replaced + replaced + replaced + "\"");
    EXPECT_EQ(Quoted("\xE0\x80\x80"), "\"" + replaced + replaced + replaced + "\"");
}

// ---- a service manager ----

/// A service manager's socket; '@' at the front of its name is one without a file.
class Manager {
public:
    explicit Manager(std::string name) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::replace(name.begin(), name.begin() + 1, '@', '\0');
        name.copy(address.sun_path, sizeof(address.sun_path) - 1);
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), size), 0);
    }
    ~Manager() { (void)close(m_socket); }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    /// What it was told, each message with a bar behind it.
    [[nodiscard]] std::string Told() const {
        std::string told;
        std::array<char, 512> part{};
        for (ssize_t size = 0; (size = recv(m_socket, part.data(), part.size(), 0)) > 0;) {
            told += std::string(part.data(), static_cast<std::size_t>(size)) + "|";
        }
        return told;
    }

private:
    int m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
};

TEST_F(AReport, TellsAServiceManagerOnceASecondAndAsksForMoreTime) {
    m_options.quiet = true;
    m_options.notifySocket = m_folder.PathOf("notify");
    const Manager manager(m_options.notifySocket);
    Report report(m_options);
    Play(report);
    report.OnVerdict(Installed());
    EXPECT_EQ(manager.Told(),
              "STATUS=Erasing\nEXTEND_TIMEOUT_USEC=30000000|"
              "STATUS=Writing 0 %, 0 of 1000 bytes\nEXTEND_TIMEOUT_USEC=30000000|"
              "STATUS=Writing 40 %, 400 of 1000 bytes, 1 s left\nEXTEND_TIMEOUT_USEC=30000000|"
              "STATUS=Writing 80 %, 800 of 1000 bytes, 0 s left\nEXTEND_TIMEOUT_USEC=30000000|"
              "STATUS=installed version 4660: 194 bytes in 14 blocks, read back, 98.7 s|");
}

TEST_F(AReport, TellsAServiceManagerWithoutAFileOfWhatIsWrongInOneLine) {
    m_options.quiet = true;
    m_options.notifySocket = "@flashguard-test-" + std::to_string(getpid());
    const Manager manager(m_options.notifySocket);
    Report report(m_options);
    Verdict verdict = Failed();
    verdict.problem = "two\nlines";
    report.OnVerdict(verdict);
    EXPECT_EQ(manager.Told(),
              "STATUS=two lines; the chip holds no runnable firmware; run it again|");
}

TEST_F(AReport, DoesNotWaitForAServiceManagerThatDoesNotListen) {
    m_options.quiet = true;
    m_options.notifySocket = m_folder.PathOf("notify");
    const Manager manager(m_options.notifySocket);
    Report report(m_options);
    // More than the kernel keeps for it.
    for (int phase = 0; phase < 10'000; ++phase) {
        report.OnPhase(Phase::kErase, 0);
    }
    EXPECT_TRUE(manager.Told().starts_with("STATUS=Erasing\n"));
}

TEST_F(AReport, GoesOnWithoutTheServiceManagerItIsTold) {
    for (const std::string& path : {m_folder.PathOf("nobody"), std::string("@nobody-here"),
                                    std::string(200, 'x'), std::string("@")}) {
        m_options.notifySocket = path;
        Report report(m_options);
        Play(report);
        report.OnVerdict(Installed());
        EXPECT_TRUE(report.VerdictWritten());
    }
}

}  // namespace
}  // namespace guard
