#include <gtest/gtest.h>

#include "support/effort.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    zelsr::test::generator();
    return RUN_ALL_TESTS();
}
