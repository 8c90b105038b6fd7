// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"
#include "WalkModel.h"

using namespace filetest;
using namespace walktest;

namespace {

TEST(Walk, RandomTextsAsTheModelSays) {
    RandomCatalog random(1);
    for (int round = 0; round < 20000; ++round) {
        const std::string text = random.next(12);
        const Model model(text);
        const ExactBytes bytes(text);
        vellix::Walk walk = vellix::Walk::overText({bytes.data(), bytes.size()});
        ASSERT_EQ(shown(stepsOf(walk)), shown(model.steps)) << text;
        const std::size_t most = 1 + random.below(5);
        vellix::Walk pieces = vellix::Walk::overPieces(piecesOf(text, [&] { return 1 + random.below(most); }));
        ASSERT_EQ(shown(stepsOf(pieces)), shown(model.steps)) << text;
    }
}

} // namespace
