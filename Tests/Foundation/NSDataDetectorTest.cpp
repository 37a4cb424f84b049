#include <gtest/gtest.h>
TEST(A,B){}
