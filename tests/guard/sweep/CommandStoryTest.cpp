// SPDX-License-Identifier: MIT

// The whole stories of the other commands.

#include "tests/guard/sweep/Story.h"

namespace guard_sweep {
namespace {

const std::string kKnown = "loader 0161 of F249\n";
const std::string kNoChip =
    "enter\n"
    "note: the loader does not answer entry 1 of 3\n"
    "note: the loader does not answer entry 2 of 3\n"
    "note: the loader does not answer entry 3 of 3\n"
    "release\nno-answer, nothing, as-it-was\n"
    "problem: no chip answers at /dev/ttyS1\n"
    "remedy: check the chip's supply and the wiring, then run the same command again\n"
    "entries 3";
const std::string kUnreliable =
    "release\ncould-not-look, nothing, as-it-was\n"
    "problem: the loader does not answer reliably\n"
    "remedy: run the same command again\n";
const std::string kMayEraseItself =
    "enter\nrelease\ncould-not-look, nothing, as-it-was\n"
    "problem: the loader does not say which part this is, and on some parts a wrong password "
    "erases "
    "the chip\nremedy: give --may-erase to do it all the same\n";
const std::string kNoPort =
    "lock\nenter\nrelease\ndevice-missing, nothing, as-it-was\n"
    "problem: the port /dev/ttyS1 cannot be opened and set\n"
    "remedy: check the board's name (--board) and who else uses the device\nentries 1";

guard::Verdict Reads(const guard::Request& request, guard::Progress& progress) {
    image::MemoryImage memory;
    return guard::Read(request, progress, memory);
}

TEST_F(AStory, OfAVerifyThatFindsTheImageReadsItOnce) {
    const std::string looks = "read of 772: 250 500 750 768 770 772\n";
    const std::string equal = "release\ndone, equal, image-proved\n";
    const std::string known = "loader 0161 of F249, sums equal\n";
    EXPECT_EQ(StoryAfter(guard::Verify),
              "lock\nenter\n" + looks + equal + "entries 1, blocks 6, read 772\n" + known);
    // A password that is not taken at first is no wrong one.
    EXPECT_EQ(StoryAfter(guard::Verify, {"answer:read#1..3=nak"}),
              "lock\nenter\n" + looks + equal +
                  "entries 1, retries 2, refusals 3, blocks 6, read 772\n" + known);
    EXPECT_EQ(StoryAfter(guard::Verify, {"answer:read#2..4=nak"}),
              "lock\nenter\nread of 772\nenter\n" + looks + equal +
                  "entries 2, retries 2, refusals 3, blocks 6, read 772\n" + known);
}

// Of two bytes that are not the chip's, twice, and of a failure that makes it look anew.
TEST_F(AStory, OfAVerifyForgetsADifferenceThatIsGoneWhenItLooksAnew) {
    EXPECT_EQ(StoryAfter(guard::Verify, {"answer:read#6..7=bytes 80 00 02 02 00 00 7d fd",
                                         "answer:read#8..10=nak"}),
              "lock\nenter\nread of 772: 250 500 750 768 770\n"
              "enter\nread of 772: 250 500 750 768 770 772\nrelease\ndone, equal, image-proved\n"
              "entries 2, retries 2, refusals 3, blocks 6, read 1544\n"
              "loader 0161 of F249, sums equal\n");
}

TEST_F(AStory, OfAVerifyThatFindsSomethingElseSaysWhat) {
    EXPECT_EQ(StoryOf(guard::Verify),
              "lock\nenter\nrelease\ndiffers, different, as-it-was\n"
              "problem: the chip's vectors are not the image's\nremedy: install the image\n"
              "entries 1, retries 4, refusals 6, blocks 6\n"
              "loader 0161 of F249, 0 bytes differ from FFE0\n");
}

TEST_F(AStory, OfAVerifyThatCannotLookSaysWhy) {
    EXPECT_EQ(StoryAfter(guard::Verify, {"answer:version#*=silence"}),
              "lock\nenter\nenter\nenter\nenter\nenter\nenter\nenter\nenter\nenter\n" +
                  kUnreliable +
                  "entries 9, sessions anew 6, retries 18, line errors 27, blocks 6\n");
    EXPECT_EQ(StoryAfter(guard::Verify, {"answer:read#2..=silence"}),
              "lock\nenter\nread of 772\nenter\nenter\nenter\nenter\nenter\nenter\n" + kUnreliable +
                  "entries 7, sessions anew 4, retries 14, line errors 21, blocks 6\n" + kKnown);
    EXPECT_EQ(StoryOf(guard::Verify, {"open:port#*=enoent"}), kNoPort + ", blocks 6\n");
    for (const char* chip : {"msp430-56k-key", "msp430-56k-v110"}) {
        settings.clear();
        OfChip(chip);
        EXPECT_EQ(StoryAfter(guard::Verify),
                  "lock\n" + kMayEraseItself + "entries 1, retries 2, refusals 3, blocks 6\n");
    }
    settings = {"silent=yes"};
    EXPECT_EQ(StoryOf(guard::Verify), "lock\n" + kNoChip + ", blocks 6\n");
}

// Loaders before 1.50 and from 2.00 on may be on parts that erase themselves; what says its version
// all the same is none that has the command.
TEST_F(AStory, OfAVerifyAsksTheLoaderWhetherAPasswordMayBeTried) {
    struct Case {
        const char* answer;
        const char* version;
        bool may;
    };
    for (const Case& one :
         {Case{"80 00 10 10 f2 6f 00 00 00 00 00 00 00 00 01 4f 00 00 00 00 9c cf", "014F", false},
          Case{"80 00 10 10 f2 6f 00 00 00 00 00 00 00 00 01 50 00 00 00 00 9c d0", "0150", true},
          Case{"80 00 10 10 f2 6f 00 00 00 00 00 00 00 00 01 ff 00 00 00 00 9c 7f", "01FF", true},
          Case{"80 00 10 10 f2 6f 00 00 00 00 00 00 00 00 02 00 00 00 00 00 9f 80", "0200",
               false}}) {
        EXPECT_EQ(StoryAfter(guard::Verify, {std::string("answer:version=bytes ") + one.answer}),
                  one.may ? "lock\nenter\nread of 772: 250 500 750 768 770 772\n"
                            "release\ndone, equal, image-proved\n"
                            "entries 1, blocks 6, read 772\nloader 0161 of F249, sums equal\n"
                          : std::string("lock\nenter\nrelease\ncould-not-look, nothing, "
                                        "as-it-was\n"
                                        "problem: on this part a wrong password erases the chip\n"
                                        "remedy: give --may-erase to do it all the same\n"
                                        "entries 1, blocks 6\nloader ") +
                                one.version + " of F26F\n")
            << one.version;
    }
}

// The 67th character to the chip is the first of the frame; one of its bytes is changed each time.
TEST_F(AStory, OfAVerifyWhoseSpeedIsRefusedGoesOnWithTheFirst) {
    WithSpeed(38400);
    EXPECT_EQ(StoryAfter(guard::Verify, {"char:to-chip#71=change AA", "char:to-chip#82=change AA",
                                         "char:to-chip#93=change AA"}),
              "lock\nenter\nnote: the loader refuses 38400 baud: going on with 9600\n"
              "read of 772: 250 500 750 768 770 772\nrelease\ndone, equal, image-proved\n"
              "entries 1, retries 2, refusals 3, blocks 6, read 772\n"
              "loader 0161 of F249, sums equal\n");
}

TEST_F(AStory, OfAReadThatIsWellIsAllOfTheMemory) {
    WithPasswordOfTheImage();
    const std::string all = "read of 57344: 250 256 .. 57344, in 231 steps\n";
    const std::string end = "release\ndone, read, as-it-was\n";
    EXPECT_EQ(StoryAfter(Reads), "lock\nenter\n" + all + end + "entries 1, read 57344\n" + kKnown);
    EXPECT_EQ(StoryAfter(Reads, {"answer:read#4..6=nak"}),
              "lock\nenter\nread of 57344: 250 256\nenter\n" + all + end +
                  "entries 2, retries 2, refusals 3, read 57600\n" + kKnown);
    settings = {"start=erased"};
    request.password.reset();
    EXPECT_EQ(StoryOf(Reads), "lock\nenter\n" + all + end + "entries 1, read 57344\n" + kKnown);
}

TEST_F(AStory, OfAReadThatCannotLookSaysWhy) {
    EXPECT_EQ(StoryAfter(Reads),
              "lock\nenter\nrelease\ncould-not-look, nothing, as-it-was\n"
              "problem: the password is not the chip's\n"
              "remedy: give --password-of the image that the chip holds\n"
              "entries 1, retries 4, refusals 6\n" +
                  kKnown);
    WithPasswordOfTheImage();
    EXPECT_EQ(StoryAfter(Reads, {"answer:read#4..=silence"}),
              "lock\nenter\nread of 57344: 250 256\nenter\nenter\nenter\nenter\nenter\nenter\n" +
                  kUnreliable +
                  "entries 7, sessions anew 4, retries 14, line errors 21, read 256\n" + kKnown);
}

TEST_F(AStory, OfAnInfoThatIsWellTellsWhatItAsked) {
    EXPECT_EQ(StoryOf(guard::Info),
              "lock\nask\nenter\nrelease\ndone, told, as-it-was\nentries 1\n"
              "before 256, " +
                  kKnown);
    EXPECT_EQ(StoryOf(guard::Info, {"answer:version#1..3=bytes 41"}),
              "lock\nask\nenter\nenter\nrelease\ndone, told, as-it-was\n"
              "entries 2, retries 2, line errors 3\nbefore 256, " +
                  kKnown);
    OfChip("msp430-56k-v110");
    WithPasswordOfTheImage();
    request.mayErase = true;
    EXPECT_EQ(StoryAfter(guard::Info),
              "lock\nask\nenter\nrelease\ndone, told, as-it-was\n"
              "entries 1, retries 2, refusals 3\nbefore 4660, loader 0110 of F149\n");
}

// The answer is lost; a message of others ends the wait for it when its time is over.
TEST_F(AStory, OfAnInfoWhereOthersTalkAllTheTimeAsksAgain) {
    settings = {"chatter-period-us=800"};
    EXPECT_EQ(StoryOf(guard::Info, {"read:comm#4=bytes b6 01 00"}),
              "lock\nask\nenter\nrelease\ndone, told, as-it-was\nentries 1\nbefore 256, " + kKnown);
}

TEST_F(AStory, OfAnInfoThatCannotLookSaysWhy) {
    EXPECT_EQ(StoryOf(guard::Info, {"answer:version#*=bytes 41"}),
              "lock\nask\nenter\nenter\nenter\n" + kUnreliable +
                  "entries 3, retries 6, line errors 9\nbefore 256\n");
    OfChip("msp430-56k-v110");
    EXPECT_EQ(StoryAfter(guard::Info),
              "lock\nask\n" + kMayEraseItself + "entries 1, retries 4, refusals 6\nbefore 4660\n");
    request.mayErase = true;
    EXPECT_EQ(StoryAfter(guard::Info),
              "lock\nask\nenter\nrelease\ncould-not-look, nothing, as-it-was\n"
              "problem: the loader has no version command, and the password is wrong\n"
              "remedy: give --password-of the image that the chip holds\n"
              "entries 1, retries 4, refusals 6\nbefore 4660\n");
    settings = {"silent=yes"};
    EXPECT_EQ(StoryOf(guard::Info), "lock\nask\n" + kNoChip + "\n");
}

TEST_F(AStory, OfAnEraseIsThatOfItsProof) {
    const std::string erases = "enter\nerase: 1 2 .. 19, in 19 steps\n";
    const std::string erased =
        erases + "prove-erased of 57088: 57088\nrelease\ndone, erased, erased\n";
    EXPECT_EQ(StoryOf(guard::Erase), "lock\n" + erased + "entries 1, erases 19\n" + kKnown);
    EXPECT_EQ(StoryOf(guard::Erase, {"answer:mass-erase#2..4=nak"}),
              "lock\nenter\nerase: 1\n" + erased +
                  "entries 2, sessions anew 1, retries 2, refusals 3, erases 20\n" + kKnown);
    const std::string session = erases + "prove-erased of 57088: 250 500 .. 57088, in 229 steps\n";
    EXPECT_EQ(StoryOf(guard::Erase, {"cell:0x2100=stuck-programmed"}),
              "lock\n" + session + session + session +
                  "release\nfailed, nothing, no-firmware\n"
                  "problem: the chip does not become erased at 0x2100\nremedy: install again\n"
                  "entries 3, sessions anew 2, retries 6, refusals 9, erases 57, read 171264\n"
                  "loader 0161 of F249, 0 bytes differ from 2100\n");
    EXPECT_EQ(StoryOf(guard::Erase, {"open:port#*=enoent"}), kNoPort + "\n");
}

TEST_F(AStory, OfFramesHasEachBeforeItsAnswerAndSilenceAsNone) {
    frames = true;
    const std::string asks = "> 80 1E 04 04 FF FF FF FF 7B E5\n";
    EXPECT_EQ(StoryOf(guard::Info, {"answer:version#1=silence", "answer:version#2=bytes 41"}),
              "lock\nask\nenter\n" + asks + "<\n" + asks + "< 41\n" + asks +
                  "< 80 00 10 10 F2 49 00 00 00 00 00 00 00 00 01 61 00 00 00 00 9C C7\n"
                  "release\ndone, told, as-it-was\nentries 1, retries 2, line errors 2\n"
                  "before 256, " +
                  kKnown);
    const std::string erases = "> 80 18 04 04 00 FF 06 A5 7D B9\n";
    std::string password = "> 80 10 24 24 00 00 00 00";
    for (int i = 0; i < 32; ++i) {
        password += " FF";
    }
    request.board.chip.eraseMs = 1;
    EXPECT_EQ(StoryOf(guard::Erase, {"answer:mass-erase#1=silence", "answer:mass-erase#2=nak",
                                     "answer:mass-erase#3=bytes 41"}),
              "lock\nenter\nerase\n" + erases + "<\n" + erases + "< A0\n" + erases +
                  "< 41\nenter\nerase\n" + erases + "< 90\n: 1\n" + password +
                  " 5B CB\n< 90\n"
                  "> 80 14 04 04 F0 0F 10 00 9B E0\n"
                  "< 80 00 10 10 F2 49 00 00 00 00 00 00 00 00 01 61 00 00 00 00 9C C7\n"
                  "prove-erased of 57088\n> 80 1C 04 04 00 21 00 DF 7B 19\n< 90\n: 57088\n"
                  "release\ndone, erased, erased\n"
                  "entries 2, sessions anew 1, retries 2, refusals 1, line errors 2, erases 1\n" +
                  kKnown);
}

TEST_F(AStory, OfAResetEndsWithTheAnswerOfTheFirmware) {
    const std::string reset = "lock\nenter\nstart\nrelease\ndone, reset, as-it-was\n";
    EXPECT_EQ(StoryOf(guard::Reset), reset + "entries 1\nafter 256\n");
    EXPECT_EQ(StoryOf(guard::Reset, {"fall:rxd_nmi_gpio#2..=lost"}),
              reset + "entries 1\nafter 256\n");
    settings = {"start=erased"};
    EXPECT_EQ(StoryOf(guard::Reset),
              "lock\nenter\nstart\nrelease\nno-answer, nothing, as-it-was\n"
              "problem: the firmware does not answer\nremedy: install an image\nentries 1\n");
    settings = {"silent=yes"};
    EXPECT_EQ(StoryOf(guard::Reset), "lock\n" + kNoChip + "\n");
    settings.clear();
    request.board.communication.reset();
    EXPECT_EQ(StoryOf(guard::Reset), "lock\nenter\nrelease\ndone, reset, as-it-was\nentries 1\n");
}

TEST_F(AStory, OfAReleaseIsThatOfTheLines) {
    EXPECT_EQ(StoryOf(guard::Release), "release\nrelease\ndone, released, as-it-was\n");
    EXPECT_EQ(StoryOf(guard::Release, {"flush:export#*=eio", "write:export#*=eio"}),
              "release\nrelease\ndevice-missing, nothing, as-it-was\n"
              "problem: not all lines can be given back\n"
              "remedy: check the board's name (--board) and the rights on /sys/class/gpio\n");
}

TEST_F(AStory, WithoutAFolderForTheLockTouchesNothing) {
    request.lockFolder = "/nowhere";
    for (const Works& works : {Works(guard::Install), Works(guard::Verify), Works(Reads),
                               Works(guard::Info), Works(guard::Erase), Works(guard::Reset)}) {
        EXPECT_EQ(StoryOf(works),
                  "lock\nrelease\ndevice-missing, nothing, untouched\n"
                  "problem: the lock file /nowhere/flashguard-dev-ttyS1.lock cannot be opened\n"
                  "remedy: give --lock-folder a folder that can be written to\n");
    }
}

}  // namespace
}  // namespace guard_sweep
