// SPDX-License-Identifier: MIT
#include "guard/report/JsonReport.h"

#include "guard/report/FrameText.h"
#include "guard/report/JsonObject.h"
#include "guard/report/Words.h"
#include "image/HexDigits.h"

namespace guard {
namespace {

using std::chrono_literals::operator""ms;

constexpr auto kBetweenProgress = 200ms;

template <typename Value>
void NumberOrNull(JsonObject& object, std::string_view key, const std::optional<Value>& value) {
    value ? object.Number(key, *value) : object.Null(key);
}

void TextOrNull(JsonObject& object, std::string_view key, const std::string& text) {
    text.empty() ? object.Null(key) : object.Text(key, text);
}

JsonObject ImageOf(const Verdict& verdict) {
    JsonObject image;
    image.Text("path", verdict.imagePath);
    TextOrNull(image, "sha256", verdict.imageSha256);
    TextOrNull(image, "content_sha256", verdict.contentSha256);
    image.Number("bytes", verdict.imageBytes).Number("blocks", verdict.blocks);
    NumberOrNull(image, "version", verdict.imageVersion);
    return image;
}

JsonObject FiguresOf(const Verdict& verdict) {
    JsonObject figures;
    figures.Number("entries", verdict.entries)
        .Number("reentries", verdict.reentries)
        .Number("retries", verdict.retries)
        .Number("line_errors", verdict.lineErrors)
        .Number("refusals", verdict.refusals)
        .Number("mass_erases", verdict.massErases)
        .Number("bytes_written", verdict.bytesWritten)
        .Number("bytes_read", verdict.bytesRead)
        .Number("baud", verdict.bitsPerSecond);
    return figures;
}

JsonObject TimesOf(const Verdict& verdict) {
    JsonObject times;
    for (std::size_t index = 0; index < kPhaseCount; ++index) {
        times.Number(NameOf(static_cast<Phase>(index)), verdict.phaseNs.at(index));
    }
    times.Number("total", verdict.totalNs);
    return times;
}

void AddLoader(JsonObject& object, const std::optional<LoaderIdentity>& loader) {
    if (!loader) {
        object.Null("loader");
        return;
    }
    JsonObject identity;
    identity.Text("version", image::HexDigits(loader->loaderVersion, 4))
        .Text("chip_id", image::HexDigits(loader->chipId, 4));
    object.Object("loader", identity);
}

}  // namespace

std::string JsonOf(const Verdict& verdict) {
    JsonObject object;
    object.Text("type", "verdict").Number("version", kJsonVersion);
    object.Text("command", verdict.command).Text("board", verdict.board).Text("port", verdict.port);
    object.Number("status", static_cast<int>(verdict.status))
        .Text("status_name", NameOf(verdict.status))
        .Text("outcome", NameOf(verdict.outcome))
        .Text("chip", NameOf(verdict.chip));
    verdict.signal == 0 ? object.Null("signal") : object.Number("signal", verdict.signal);
    TextOrNull(object, "problem", verdict.problem);
    TextOrNull(object, "remedy", verdict.remedy);
    verdict.imagePath.empty() ? object.Null("image") : object.Object("image", ImageOf(verdict));
    TextOrNull(object, "read_sha256", verdict.readSha256);
    NumberOrNull(object, "version_before", verdict.versionBefore);
    NumberOrNull(object, "version_after", verdict.versionAfter);
    AddLoader(object, verdict.loader);
    NumberOrNull(object, "difference_at", verdict.differenceAt);
    object.Number("differing_bytes", verdict.differingBytes);
    object.Object("figures", FiguresOf(verdict)).Object("times_ns", TimesOf(verdict));
    return object.Line();
}

void JsonReport::OnPhase(Phase phase, std::uint32_t total) {
    m_gauge.Begin(phase, total, m_now());
    Progressed();
}

void JsonReport::OnAdvance(std::uint32_t done) {
    m_gauge.Advance(done);
    if (m_now() - m_lastProgress >= kBetweenProgress || done == m_gauge.Total()) {
        Progressed();
    }
}

void JsonReport::Progressed() {
    m_lastProgress = m_now();
    JsonObject object;
    object.Text("type", "progress")
        .Text("phase", NameOf(m_gauge.Current()))
        .Number("done", m_gauge.Done())
        .Number("total", m_gauge.Total());
    m_output.News(object.Line() + "\n");
}

void JsonReport::OnNote(std::string_view text) {
    m_output.News(JsonObject().Text("type", "note").Text("text", text).Line() + "\n");
}

void JsonReport::OnFrame(bool toChip, std::span<const std::uint8_t> bytes) {
    if (m_verbose) {
        m_output.News(JsonObject()
                          .Text("type", "frame")
                          .Text("to", toChip ? "chip" : "host")
                          .Text("bytes", BytesText(bytes))
                          .Line() +
                      "\n");
    }
}

void JsonReport::OnLog(std::string_view line) {
    if (m_verbose) {
        m_output.News(JsonObject().Text("type", "log").Text("text", line).Line() + "\n");
    }
}

void JsonReport::OnVerdict(const Verdict& verdict) {
    m_output.Must(JsonOf(verdict) + "\n");
}

}  // namespace guard
