// SPDX-License-Identifier: MIT

// The whole story of an install: sound, with troubles that it gets over, and with those that end
// it.

#include "tests/guard/sweep/Story.h"

#include <utility>

namespace guard_sweep {
namespace {

const std::string kAsks = "lock\nask\n";
const std::string kErases = "enter\nerase: 1 2 .. 19, in 19 steps\n";
const std::string kCheck = "prove-erased of 57088: 57088\n";
const std::string kCheckByReading = "prove-erased of 57088: 250 500 .. 57088, in 230 steps\n";
const std::string kWrites = "write of 768: 250 500 750 768\n";
const std::string kProves = "prove of 57056: 250 500 750 768 57056\n";
const std::string kProvesByReading = "prove of 57056: 250 500 .. 57056, in 231 steps\n";
const std::string kCommits = "commit of 4: 2 4\n";
const std::string kWhole = kErases + kCheck + kWrites + kProves + kCommits;
const std::string kWholeByReading =
    kErases + kCheckByReading + kWrites + kProvesByReading + kCommits;
const std::string kInstalled = "start\nrelease\ndone, installed, image-running\n";
const std::string kSound = "before 256, after 4660, loader 0161 of F249, sums equal\n";
const std::string kAnew = ": beginning anew\n";

TEST_F(AStory, OfAnInstallIsThatOfItsSteps) {
    EXPECT_EQ(StoryOf(guard::Install),
              kAsks + kWhole + kInstalled +
                  "entries 1, erases 19, blocks 6, written 772, read 772, baud 9600\n" + kSound);
}

TEST_F(AStory, OfAnInstallOnALoaderWithoutAnEraseCheckReadsWhatHasToBeErased) {
    OfChip("msp430-56k-v202");
    EXPECT_EQ(StoryOf(guard::Install),
              kAsks + kWholeByReading + kInstalled +
                  "entries 1, erases 19, blocks 6, written 772, read 114148, baud 9600\n"
                  "before 256, after 4660, loader 0202 of F26F, sums equal\n");
}

TEST_F(AStory, OfAnInstallOnANewPartErasesAsOftenAsItNeeds) {
    request.board.chip = guard::KnownParts().front();
    for (const auto& [needMs, pulses] : {std::pair(1U, "1"),
                                         {11U, "1"},
                                         {12U, "1 2"},
                                         {20U, "1 2"},
                                         {22U, "1 2"},
                                         {33U, "1 2 3"}}) {
        request.board.chip.eraseMs = needMs;
        EXPECT_EQ(StoryOf(guard::Install),
                  kAsks + "enter\nerase: " + pulses + "\n" + kCheck + kWrites + kProves + kCommits +
                      kInstalled + "entries 1, erases " + std::string(pulses).back() +
                      ", blocks 6, written 772, read 772, baud 9600\n" + kSound);
    }
}

TEST_F(AStory, OfAnInstallOnAnOldPartErasesItAsLongAsAnOldPartNeeds) {
    OfChip("msp430-56k-v110");
    request.board.chip = guard::KnownParts().front();
    EXPECT_EQ(StoryOf(guard::Install),
              kAsks + kWholeByReading + kInstalled +
                  "entries 1, erases 19, blocks 6, written 772, read 114148, baud 9600\n"
                  "before 256, after 4660, loader 0110 of F149, sums equal\n");
}

TEST_F(AStory, OfAnInstallAtAnotherSpeedTellsIt) {
    for (const unsigned baud : {19200U, 38400U}) {
        WithSpeed(baud);
        // The third time the port takes it.
        EXPECT_EQ(StoryOf(guard::Install, {"tcsetattr:port#3..4=eio"}),
                  kAsks + kWhole + kInstalled +
                      "entries 1, erases 19, blocks 6, written 772, read 772, baud " +
                      std::to_string(baud) + "\n" + kSound);
    }
}

TEST_F(AStory, OfAnInstallThatMendsItselfInItsSessionCountsTheTroubles) {
    struct Case {
        Rules rules;
        std::string figures;
    };
    for (const Case& one :
         {Case{{"answer:write#2=nak"}, "retries 1, refusals 1, "},
          Case{{"answer:write#1=silence"}, "retries 1, line errors 1, "},
          Case{{"answer:write#1=bytes 41 42 43"}, "retries 1, line errors 3, "},
          Case{{"answer:write#1=bytes 41 42 43 44 45 46"}, "retries 1, line errors 6, "},
          Case{{"answer:sync#5=silence"}, "retries 1, "}, Case{{"write:port#10=short 3"}, ""},
          Case{{"write:port#10..12=eio"}, "retries 1, line errors 1, "},
          Case{{"open:port#1..2=enoent"}, ""}, Case{{"tcsetattr:port#2=eio"}, ""}}) {
        EXPECT_EQ(StoryOf(guard::Install, one.rules),
                  kAsks + kWhole + kInstalled + "entries 1, " + one.figures +
                      "erases 19, blocks 6, written 772, read 772, baud 9600\n" + kSound)
            << one.rules.front();
    }
}

TEST_F(AStory, OfAnInstallThatEntersAgainOrLooksByReadingInstead) {
    // Only a port that is set as it should be ends a wait for silence.
    for (const auto& [rules, figures] :
         {std::pair(Rules{"answer:sync#1=silence", "tcsetattr:port#2=eio"}, ""),
          {Rules{"answer:sync#1=bytes 41"}, "line errors 1, "}}) {
        EXPECT_EQ(StoryOf(guard::Install, rules),
                  kAsks + "enter\nnote: the loader does not answer entry 1 of 3\n" +
                      kWhole.substr(kWhole.find('\n') + 1) + kInstalled + "entries 2, " + figures +
                      "erases 19, blocks 6, written 772, read 772, baud 9600\n" + kSound);
    }
    EXPECT_EQ(StoryOf(guard::Install, {"answer:erase-check#*=nak"}),
              kAsks + kWholeByReading + kInstalled +
                  "entries 1, retries 4, refusals 6, erases 19, blocks 6, written 772, read "
                  "114148, baud 9600\n" +
                  kSound);
}

TEST_F(AStory, OfAnInstallThatNeedsASecondSessionSaysWhy) {
    struct Case {
        Rules rules;
        std::string first;
        std::string note;
        std::string figures;
    };
    const std::string refused = "retries 2, refusals 3, ";
    const std::string garbled = "retries 2, line errors 3, ";
    for (const Case& one :
         {Case{{"answer:mass-erase#3..5=nak"},
               "enter\nerase: 1 2\n",
               "the loader does not acknowledge the erase",
               refused + "erases 21, blocks 6, written 772, read 772"},
          Case{{"answer:read#1..3=nak"},
               kErases,
               "the chip does not take the password of an erased one",
               refused + "erases 38, blocks 6, written 772, read 772"},
          Case{{"answer:erase-check#1..3=bytes 41"},
               kErases + "prove-erased of 57088\n",
               "the erased chip cannot be looked at",
               garbled + "erases 38, blocks 6, written 772, read 772"},
          Case{{"answer:erase-check#1..3=nak", "answer:read#2..4=nak"},
               kErases + "prove-erased of 57088\n",
               "the erased chip cannot be looked at",
               "retries 4, refusals 6, erases 38, blocks 6, written 772, read 772"},
          Case{{"answer:write#2..4=nak"},
               kErases + kCheck + "write of 768: 250\n",
               "the block at 0x21FA is not acknowledged",
               refused + "erases 38, blocks 6, written 1022, read 772"},
          Case{{"answer:read#3..5=nak"},
               kErases + kCheck + kWrites + "prove of 57056: 250\n",
               "the block at 0x21FA cannot be read back",
               refused + "erases 38, blocks 6, written 1540, read 1022"},
          Case{{"answer:erase-check#2..4=silence"},
               kErases + kCheck + kWrites + "prove of 57056: 250 500 750 768\n",
               "the gap at 0x2400 is not shown to be erased",
               garbled + "erases 38, blocks 6, written 1540, read 1540"}}) {
        EXPECT_EQ(StoryOf(guard::Install, one.rules),
                  kAsks + one.first + "note: " + one.note + kAnew + kWhole + kInstalled +
                      "entries 2, sessions anew 1, " + one.figures + ", baud 9600\n" + kSound);
    }
}

TEST_F(AStory, OfASpeedThatTheChipDoesNotTakeGoesOnWithTheFirst) {
    WithSpeed(38400);
    EXPECT_EQ(StoryOf(guard::Install, {"answer:change-speed#*=silence"}),
              kAsks + kErases +
                  "note: the loader does not answer at 38400 baud: back to 9600 and into it again\n"
                  "note: the loader does not answer at 38400 baud" +
                  kAnew + kWhole + kInstalled +
                  "entries 2, sessions anew 1, retries 1, line errors 1, erases 38, blocks 6, "
                  "written 772, read 772, baud 9600\n" +
                  kSound);
}

TEST_F(AStory, OfAnInstallThatFailsEndsWithWhatIsWrong) {
    struct Case {
        const char* rule;
        std::string session;  ///< Each of the three ends so.
        std::string chip;
        std::string problem;
        std::string figures;
    };
    for (const Case& one :
         {Case{"answer:write#*=nak", kErases + kCheck + "write of 768\n", "no-firmware",
               "the block at 0x2100 is not acknowledged",
               "retries 6, refusals 9, erases 57, blocks 6, baud 9600\n"
               "before 256, loader 0161 of F249\n"},
          Case{"answer:mass-erase#*=nak", "enter\nerase\n", "unknown",
               "the loader does not acknowledge the erase",
               "retries 6, refusals 9, blocks 6\nbefore 256\n"},
          Case{"answer:password#*=silence", kErases, "unknown",
               "the chip does not take the password of an erased one",
               "retries 6, line errors 9, erases 57, blocks 6\nbefore 256\n"},
          Case{"cell:0x2100=stuck-programmed",
               kErases + "prove-erased of 57088: 250 500 .. 57088, in 229 steps\n", "no-firmware",
               "the chip does not become erased at 0x2100",
               "retries 6, refusals 9, erases 57, blocks 6, read 171264\n"
               "before 256, loader 0161 of F249, 0 bytes differ from 2100\n"}}) {
        EXPECT_EQ(StoryOf(guard::Install, {one.rule}),
                  kAsks + one.session + "note: " + one.problem + kAnew + one.session +
                      "note: " + one.problem + kAnew + one.session + "release\nfailed, nothing, " +
                      one.chip + "\nproblem: " + one.problem +
                      "\nremedy: install again\nentries 3, sessions anew 2, " + one.figures);
    }
}

// A refusal that is followed by silence is no refusal.
TEST_F(AStory, OfALoaderThatRefusesAndFallsSilentIsThatOfSilence) {
    EXPECT_EQ(StoryOf(guard::Install, {"answer:erase-check#1=nak", "answer:sync#23..=silence"}),
              kAsks + kErases + "prove-erased of 57088\nnote: the erased chip cannot be looked at" +
                  kAnew +
                  "enter\n"
                  "note: the loader does not answer entry 1 of 3\n"
                  "note: the loader does not answer entry 2 of 3\n"
                  "note: the loader does not answer entry 3 of 3\n"
                  "release\nfailed, nothing, no-firmware\n"
                  "problem: no chip answers at /dev/ttyS1\nremedy: install again\n"
                  "entries 4, sessions anew 1, retries 1, refusals 1, erases 19, blocks 6\n"
                  "before 256, loader 0161 of F249\n");
}

// What might start is taken back by one more erase.
TEST_F(AStory, OfAResetVectorThatIsNotTakenEndsWithAnErase) {
    const std::string session = kErases + kCheck + kWrites + kProves + "commit of 4: 2\n";
    const std::string problem = "the block at 0xFFFE is not acknowledged";
    EXPECT_EQ(StoryOf(guard::Install, {"cell:0xfffe=stuck-erased"}),
              kAsks + session + "note: " + problem + kAnew + session + "note: " + problem + kAnew +
                  session + kErases + "release\nfailed, nothing, no-firmware\nproblem: " + problem +
                  "\nremedy: install again\n"
                  "entries 4, sessions anew 2, retries 6, refusals 9, erases 76, blocks 6, written "
                  "2310, read 2310, baud 9600\nbefore 256, loader 0161 of F249\n");
}

TEST_F(AStory, OfAResetVectorThatWasErasedSinceEndsWithoutOneMoreErase) {
    const std::string body = kErases + kCheck + "write of 768\n";
    const std::string problem = "the block at 0x2100 is not acknowledged";
    EXPECT_EQ(StoryOf(guard::Install, {"answer:write#6..=nak"}),
              kAsks + kErases + kCheck + kWrites + kProves +
                  "commit of 4: 2\nnote: the block at 0xFFFE is not acknowledged" + kAnew + body +
                  "note: " + problem + kAnew + body +
                  "release\nfailed, nothing, no-firmware\nproblem: " + problem +
                  "\nremedy: install again\n"
                  "entries 3, sessions anew 2, retries 6, refusals 9, erases 57, blocks 6, written "
                  "770, read 770, baud 9600\nbefore 256, loader 0161 of F249\n");
}

TEST_F(AStory, OfACellThatIsNotWrittenWritesItsBlockThreeTimesInEachSession) {
    OfChip("msp430-56k-v110");
    const std::string again = "note: the block at 0x2100 was not written: writing it again\n";
    const std::string session =
        kErases + kCheckByReading + kWrites + "prove of 57056\n" + again + again;
    const std::string problem = "the block at 0x2100 reads back as something else";
    EXPECT_EQ(
        StoryOf(guard::Install, {"cell:0x2180=stuck-erased"}),
        kAsks + session + "note: " + problem + kAnew + session + "note: " + problem + kAnew +
            session + "release\nfailed, nothing, no-firmware\nproblem: " + problem +
            "\nremedy: install again\n"
            "entries 3, sessions anew 2, erases 57, blocks 6, written 3804, read 175764, baud "
            "9600\nbefore 256, loader 0110 of F149, 3 bytes differ from 2180\n");
}

TEST_F(AStory, OfADeviceThatGoesDuringAnInstallAsksForItBack) {
    EXPECT_EQ(StoryOf(guard::Install, {"answer:write#2..4=nak", "open:port#2..=enoent"}),
              kAsks + kErases + kCheck +
                  "write of 768: 250\nnote: the block at 0x21FA is not acknowledged" + kAnew +
                  "enter\nrelease\nfailed, nothing, no-firmware\n"
                  "problem: the port /dev/ttyS1 cannot be opened and set\n"
                  "remedy: bring the device back, then install again\n"
                  "entries 2, sessions anew 1, retries 2, refusals 3, erases 19, blocks 6, written "
                  "250, baud 9600\nbefore 256, loader 0161 of F249\n");
}

TEST_F(AStory, OfADeviceThatIsMissingLeavesTheChipAsItWas) {
    struct Case {
        Rules rules;
        std::string problem;
        std::string rest;
    };
    for (const Case& one : {Case{{"open:port#1..3=enoent"},
                                 "the port /dev/ttyS1 cannot be opened and set",
                                 "before 256\n"},
                            Case{{"tcsetattr:port#*=eio"},
                                 "the port /dev/ttyS1 cannot be opened and set",
                                 "before 256\n"},
                            Case{{"fopen:gpio91/direction#*=enoent"},
                                 "a GPIO line among 90, 86 and 91 does not become an output",
                                 "before 256\n"},
                            Case{{"flush:export#*=eio", "write:export#*=eio"},
                                 "GPIO line 90 cannot be exported",
                                 "before 256\n"},
                            Case{{"fopen:export#*=enoent", "open:export#*=enoent"},
                                 "GPIO line 90 cannot be exported",
                                 "before 256\n"},
                            Case{{"open:comm#*=enoent"},
                                 "the communication device /dev/knxspi cannot be opened",
                                 ""}}) {
        EXPECT_EQ(
            StoryOf(guard::Install, one.rules),
            kAsks + "enter\nrelease\ndevice-missing, nothing, as-it-was\nproblem: " + one.problem +
                "\nremedy: check the board's name (--board) and who else uses the device\n"
                "entries 1, blocks 6\n" +
                one.rest);
    }
}

TEST_F(AStory, OfLinesThatCannotBeGivenBackSaysSo) {
    EXPECT_EQ(StoryOf(guard::Install, {"flush:unexport#*=eio", "write:unexport#*=eio"}),
              kAsks + kWhole +
                  "start\nrelease\nnote: not all lines could be given back: run 'flashguard "
                  "release'\ndone, installed, image-running\n"
                  "entries 1, erases 19, blocks 6, written 772, read 772, baud 9600\n" +
                  kSound);
}

// ---- what starts, and what is there already ----

TEST_F(AStory, OfFirmwareThatSaysAnotherVersionOrNoneIsProvedAndNotInstalled) {
    const std::string end =
        "start\nrelease\nwrong-version, nothing, image-proved\nproblem: the firmware ";
    const std::string remedy =
        "\nremedy: check that the image is one for this board\n"
        "entries 1, erases 19, blocks 6, written 772, read 772, baud 9600\n";
    EXPECT_EQ(StoryOf(guard::Install, {"write:comm#2..=eio"}),
              kAsks + kWhole + end + "does not answer" + remedy +
                  "before 256, loader 0161 of F249, sums equal\n");
    request.image->version = 9;
    EXPECT_EQ(StoryOf(guard::Install),
              kAsks + kWhole + end + "says version 4660, the image 9" + remedy + kSound);
}

TEST_F(AStory, OfABoardThatCannotAskEntersOnceMore) {
    request.board.communication.reset();
    const std::string figures = "erases 19, blocks 6, written 772, read 772, baud 9600\n";
    const std::string known = "loader 0161 of F249, sums equal\n";
    EXPECT_EQ(StoryOf(guard::Install),
              kAsks + kWhole + "enter\n" + kInstalled + "entries 2, " + figures + known);
    EXPECT_EQ(StoryOf(guard::Install, {"answer:read#8..=nak"}),
              kAsks + kWhole +
                  "enter\nstart\nrelease\nwrong-version, nothing, image-proved\n"
                  "problem: the chip does not take the password of the image\n"
                  "remedy: check that the image is one for this board\n"
                  "entries 2, retries 2, refusals 3, " +
                  figures + known);
    EXPECT_EQ(StoryOf(guard::Install, {"answer:password#2..=silence"}),
              kAsks + kWhole +
                  "enter\nenter\nenter\nstart\nrelease\nwrong-version, nothing, image-proved\n"
                  "problem: the chip does not take the password of the image\n"
                  "remedy: check that the image is one for this board\n"
                  "entries 4, retries 6, line errors 9, " +
                  figures + known);
}

TEST_F(AStory, OfWhatRunsAlreadyIsShortUnlessItIsForcedOrNotTheImage) {
    EXPECT_EQ(StoryAfter(guard::Install),
              kAsks + "release\ndone, current, untouched\nbefore 4660\n");
    request.prove = true;
    EXPECT_EQ(StoryAfter(guard::Install),
              kAsks +
                  "enter\nread of 772: 250 500 750 768 770 772\nrelease\n"
                  "done, current, image-proved\nentries 1, blocks 6, read 772\n"
                  "before 4660, loader 0161 of F249, sums equal\n");
    request.prove = false;
    request.force = true;
    EXPECT_EQ(StoryAfter(guard::Install),
              kAsks + kWhole + kInstalled +
                  "entries 1, erases 19, blocks 6, written 772, read 772, baud 9600\n"
                  "before 4660, after 4660, loader 0161 of F249, sums equal\n");
}

TEST_F(AStory, OfAProofThatFindsAnotherImageOfTheSameVersionProgramsIt) {
    BoardRun board(settings);
    ASSERT_EQ(board.Run(Installs(), {}).status, guard::Status::kDone);
    request.image->memory.Set(0x2200, 0x43);
    request.prove = true;
    EXPECT_EQ(StoryOn(board, guard::Install),
              kAsks +
                  "enter\nread of 772: 250 500 750 768 770 772\n"
                  "note: the firmware says the image's version, but the chip does not hold the "
                  "image\n" +
                  kWhole + kInstalled +
                  "entries 2, erases 19, blocks 6, written 772, read 1794, baud 9600\n"
                  "before 4660, after 4660, loader 0161 of F249, sums equal\n");
}

TEST_F(AStory, OfAProofThatIsRefusedOrNotAnsweredChangesNothing) {
    request.prove = true;
    EXPECT_EQ(StoryAfter(guard::Install, {"answer:version#*=silence"}),
              kAsks +
                  "enter\nenter\nenter\nenter\nenter\nenter\nenter\nenter\nenter\nrelease\n"
                  "could-not-look, nothing, as-it-was\n"
                  "problem: the loader does not answer reliably\n"
                  "remedy: run the same command again\n"
                  "entries 9, sessions anew 6, retries 18, line errors 27, blocks 6\n"
                  "before 4660\n");
    OfChip("msp430-56k-key");
    EXPECT_EQ(StoryAfter(guard::Install),
              kAsks +
                  "enter\nrelease\ncould-not-look, nothing, as-it-was\n"
                  "problem: the loader does not say which part this is, and on some parts a wrong "
                  "password erases the chip\n"
                  "remedy: give --may-erase to do it all the same\n"
                  "entries 1, retries 2, refusals 3, blocks 6\nbefore 4660\n");
}

// ---- information memory ----

TEST_F(AStory, OfInformationThatIsKeptReadsItBeforeAndWritesItAfter) {
    Keeps(guard::VectorsOf(request.image->memory));
    const std::string reads = "enter\nread of 256: 250 256\n";
    const std::string erases = "erase: 1 2 .. 19, in 19 steps\n" + kCheck;
    const std::string rest =
        "write of 1024: 250 256 506 756 1006 1024\n"
        "prove of 57312: 250 256 .. 57312, in 7 steps\n" +
        kCommits + kInstalled;
    const std::string known = "before 4660, after 4660, loader 0161 of F249, sums equal\n";
    EXPECT_EQ(StoryAfter(guard::Install),
              kAsks + reads + erases + rest +
                  "entries 1, erases 19, blocks 8, written 1028, read 1284, baud 9600\n" + known);
    // What was read once is not asked for again.
    EXPECT_EQ(StoryAfter(guard::Install, {"answer:write#2..4=nak"}),
              kAsks + reads + erases +
                  "write of 1024: 250\nnote: the block at 0x10FA is not acknowledged" + kAnew +
                  "enter\n" + erases + rest +
                  "entries 2, sessions anew 1, retries 2, refusals 3, erases 38, blocks 8, written "
                  "1278, read 1284, baud 9600\n" +
                  known);
}

TEST_F(AStory, OfInformationThatCannotBeReadErasesNothing) {
    const std::string end = "enter\nrelease\ncould-not-look, nothing, as-it-was\nproblem: ";
    const std::string wrong = end +
                              "the chip does not hold the image of --password-of\n"
                              "remedy: give --password-of the image that the chip holds\n";
    const std::string known = "blocks 6\nbefore 4660, loader 0161 of F249\n";
    Keeps(guard::VectorsOf(request.image->memory));
    const std::string silent = "enter\nnote: the loader does not answer the password" + kAnew;
    EXPECT_EQ(StoryAfter(guard::Install, {"answer:password#*=silence"}),
              kAsks + silent + silent + end +
                  "the loader does not answer the password\nremedy: run the same command again\n"
                  "entries 3, sessions anew 2, retries 6, line errors 9, " +
                  known);
    EXPECT_EQ(StoryAfter(guard::Install, {"answer:read#2..=nak"}),
              kAsks + "enter\nread of 256\nnote: information memory cannot be read" + kAnew +
                  wrong + "entries 2, sessions anew 1, retries 4, refusals 6, " + known);
    Keeps(guard::ErasedPassword());
    EXPECT_EQ(StoryAfter(guard::Install),
              kAsks + wrong + "entries 1, retries 2, refusals 3, " + known);
}

TEST_F(AStory, OfCalibrationValuesThatWouldBeLostEndsBeforeItBegins) {
    request.board.chip.calibration = true;
    EXPECT_EQ(StoryOf(guard::Install),
              "release\nusage, nothing, untouched\n"
              "problem: an erase loses the calibration values in information memory\n"
              "remedy: give --keep-information with --password-of, or --lose-information\n");
}

}  // namespace
}  // namespace guard_sweep
