#include <gtest/gtest.h>

#include "msg-tarvel-serializer/c_program.h"

TEST(Serializer, WorksFromC) { EXPECT_STREQ(hand_over_in_c(), nullptr); }
