// SPDX-License-Identifier: MIT
#include "vboard/process/BoardTurn.h"

#include <pthread.h>

namespace vboard {
namespace {

pthread_mutex_t g_board = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

}  // namespace

void BoardTurn::Take() {
    static_cast<void>(pthread_mutex_lock(&g_board));
}

void BoardTurn::GiveBack() {
    static_cast<void>(pthread_mutex_unlock(&g_board));
}

void BoardTurn::BeginAnew() {
    g_board = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
}

}  // namespace vboard
