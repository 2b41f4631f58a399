// SPDX-License-Identifier: MIT
#include "vboard/wires/BoardModel.h"

#include <algorithm>

namespace vboard {
namespace {

//                                     name    port            communication  reset RxD/NMI TCK
constexpr std::array<BoardModel, 3> kBoards{{
    {"BRDA", "/dev/ttyS1", "/dev/knxspi", {90, 86, 91}},
    {"BRDB", "/dev/ttyS1", "/dev/knxspi", {90, 86, 91}},
    {"BRDC", "/dev/ttymxc1", "/dev/knxspi", {104, 6, 5}},
}};

}  // namespace

std::span<const BoardModel> AllBoardModels() {
    return kBoards;
}

const BoardModel* FindBoardModel(std::string_view name) {
    const auto* found =
        std::find_if(kBoards.begin(), kBoards.end(),
                     [name](const BoardModel& model) { return model.name == name; });
    return found == kBoards.end() ? nullptr : found;
}

}  // namespace vboard
