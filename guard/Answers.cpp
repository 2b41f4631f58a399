// SPDX-License-Identifier: MIT
#include "guard/Answers.h"

#include <algorithm>

#include "guard/Files.h"
#include "guard/boards/BoardFolder.h"
#include "guard/check/ImageFile.h"
#include "guard/check/ToolView.h"
#include "guard/report/JsonObject.h"
#include "image/HexDigits.h"
#include "image/IntelHex.h"

namespace guard {
namespace {

std::string Address(std::uint32_t address) {
    return "0x" + image::HexDigits(address, 4);
}

/// Text in a column of `width`.
std::string Cell(std::string text, std::size_t width) {
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

void AnswerStretch(const CommandLine& line, Report& report, std::uint32_t first,
                   std::uint32_t end) {
    if (line.json) {
        report.Answer(JsonObject()
                          .Text("type", "memory")
                          .Number("first", first)
                          .Number("last", end - 1)
                          .Number("bytes", end - first)
                          .Line() +
                      "\n");
    } else {
        report.Answer(Address(first) + "-" + Address(end - 1) + "  " + std::to_string(end - first) +
                      " bytes\n");
    }
}

void AnswerMap(const CommandLine& line, Report& report, const image::MemoryImage& memory) {
    std::uint32_t first = 0;
    bool inside = false;
    for (std::uint32_t address = 0; address <= image::MemoryImage::kSizeBytes; ++address) {
        const bool covered = address < image::MemoryImage::kSizeBytes &&
                             memory.Covers(static_cast<std::uint16_t>(address));
        if (covered && !inside) {
            first = address;
        } else if (!covered && inside) {
            AnswerStretch(line, report, first, address);
        }
        inside = covered;
    }
}

void AnswerToolView(const CommandLine& line, const Board& board, Report& report,
                    const ImageFile& file) {
    const ToolView view = LookAsTheToolDoes(file.path, board.versionAddress);
    for (const std::string& sentence :
         SentencesOf(view, file.found.Refused() ? nullptr : &file.memory)) {
        report.Answer(
            line.json ? JsonObject().Text("type", "flashmcu").Text("text", sentence).Line() + "\n"
                      : sentence + "\n");
    }
}

Verdict VerdictOf(const ImageFile& file, const Board& board) {
    Verdict verdict;
    verdict.command = "check";
    verdict.board = board.name;
    verdict.imagePath = file.path;
    verdict.imageSha256 = file.sha256;
    verdict.imageBytes = static_cast<std::uint32_t>(file.memory.CoveredBytes());
    verdict.imageVersion = file.version;
    if (const image::Finding* first = file.found.FirstRefusal()) {
        verdict.status = Status::kImageRefused;
        verdict.problem = RefusalOf(file);
        verdict.remedy = first->remedy;
    }
    return verdict;
}

std::string LineOf(const Board& board) {
    return Cell(board.name, 8) + Cell(board.port, 14) +
           Cell(board.communication.value_or("-"), 14) + Cell(board.resetGpio, 6) +
           Cell(board.rxdNmiGpio, 8) + Cell(board.tckGpio, 5) + Cell(board.chip.name, 17) +
           board.source + "\n";
}

std::string JsonOf(const Board& board) {
    JsonObject object;
    object.Text("type", "board").Text("name", board.name).Text("port", board.port);
    board.communication ? object.Text("communication", *board.communication)
                        : object.Null("communication");
    object.Text("reset", board.resetGpio)
        .Text("rxd_nmi", board.rxdNmiGpio)
        .Text("tck", board.tckGpio)
        .Text("chip", board.chip.name)
        .Text("source", board.source);
    return object.Line() + "\n";
}

}  // namespace

Verdict CheckImage(const CommandLine& line, const Board& board, Report& report) {
    const ImageFile file = ReadImageFile(line.image, board);
    report.OnFindings(line.image, file.found);
    AnswerMap(line, report, file.memory);
    AnswerToolView(line, board, report, file);
    Verdict verdict = VerdictOf(file, board);
    std::string problem;
    if (verdict.status == Status::kDone && !line.output.empty() &&
        !WriteImage(line.output, image::Canonical(file.memory), problem)) {
        verdict.status = Status::kVerdictUnwritten;
        verdict.problem = "the canonical image can't be written: " + problem;
        verdict.remedy = "name a file that can be written";
    }
    verdict.outcome = verdict.status == Status::kDone ? Outcome::kChecked : Outcome::kNothing;
    report.OnVerdict(verdict);
    return verdict;
}

Verdict ListBoards(const CommandLine& line, Report& report) {
    const BoardFolder folder = ReadBoards(line);
    if (!line.json) {
        report.Answer(Cell("name", 8) + Cell("port", 14) + Cell("communication", 14) +
                      Cell("reset", 6) + Cell("rxd/nmi", 8) + Cell("tck", 5) + Cell("chip", 17) +
                      "from\n");
    }
    for (const Board& board : BuiltInBoards()) {
        report.Answer(line.json ? JsonOf(board) : LineOf(board));
    }
    for (const Board& board : folder.boards) {
        report.Answer(line.json ? JsonOf(board) : LineOf(board));
    }
    Verdict verdict;
    verdict.command = "boards";
    verdict.outcome = Outcome::kListed;
    if (!folder.problems.empty()) {
        verdict.status = Status::kUsage;
        verdict.outcome = Outcome::kNothing;
        verdict.problem = "there are boards that can't be taken: " + folder.problems.front();
        verdict.remedy = "correct the file";
        report.OnComplaints({folder.problems.begin() + 1, folder.problems.end()});
    }
    report.OnVerdict(verdict);
    return verdict;
}

}  // namespace guard
