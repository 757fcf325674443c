#include "kernel.h"
#include "os.h"

#include <gtest/gtest.h>

namespace {

TEST(VxWorksPortWithoutSymbolTable, LinksAndFindsNoSymbol)
{
    EXPECT_EQ(psi::core::osSymbol("module_info_register"), nullptr);
}

} // namespace
