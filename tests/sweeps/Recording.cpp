// SPDX-License-Identifier: MIT
#include "tests/sweeps/Recording.h"

#include <charconv>

#include "tests/runs/Transcript.h"

namespace sweeps {
namespace {

std::string_view Word(std::string_view& text) {
    const std::size_t end = text.find(' ');
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return word;
}

Event ReadCall(std::string_view text) {
    Event event;
    const std::size_t equals = text.rfind("= ");
    const std::string_view result = text.substr(equals + 2);
    const auto [end, error] =
        std::from_chars(result.data(), result.data() + result.size(), event.result);
    event.failed = error != std::errc{};
    if (event.failed) {
        event.error = result;
    }
    text = text.substr(0, equals);
    event.name = Word(text);
    event.target = Word(text);
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    event.detail = text;
    return event;
}

}  // namespace

std::vector<Event> EventsOf(std::string_view transcript) {
    std::vector<Event> events;
    for (const runs::TranscriptLine& line : runs::ReadTranscript(transcript)) {
        if (line.column == "call") {
            events.push_back(ReadCall(line.words));
        } else if (line.column == "pause") {
            events.push_back({"pause", "", std::string(line.words), "", false, 0});
        }
    }
    return events;
}

std::string Describe(const Event& event) {
    if (event.name == "pause") {
        return "pause " + event.detail;
    }
    return event.name + " " + event.target + (event.detail.empty() ? "" : " " + event.detail) +
           " = " + (event.failed ? event.error : std::to_string(event.result));
}

}  // namespace sweeps
