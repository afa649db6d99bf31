#include "core/base/Uuid.h"

#include <gtest/gtest.h>

#include <vector>

namespace quillon {
namespace {

TEST(Uuid, ParsesEitherCaseAndRejectsMalformedText) {
    const std::vector<std::pair<const char*, const char*>> cases{
        {"0f8e6c2a-1b3d-4e5f-9a7b-c1d2e3f40516", "0F8E6C2A-1B3D-4E5F-9A7B-C1D2E3F40516"},
        {"0F8E6C2A-1B3D-4E5F-9A7B-C1D2E3F40516", "0F8E6C2A-1B3D-4E5F-9A7B-C1D2E3F40516"},
        {"", nullptr},
        {"0F8E6C2A1B3D4E5F9A7BC1D2E3F40516", nullptr},
        {"0F8E6C2A-1B3D-4E5F-9A7B-C1D2E3F4051G", nullptr},
        {"0F8E6C2A-1B3D-4E5F-9A7B_C1D2E3F40516", nullptr},
        {"0F8E6C2A-1B3D-4E5F-9A7B-C1D2E3F405166", nullptr},
    };
    for (const auto& [text, canonical] : cases) {
        const auto parsed = Uuid::parse(text);
        EXPECT_EQ(parsed ? parsed->toString() : "", canonical ? canonical : "") << text;
    }
    EXPECT_TRUE(Uuid{}.isNil());
}

}  // namespace
}  // namespace quillon
