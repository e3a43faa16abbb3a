#include "photo/profile.h"

#include <gtest/gtest.h>

#include "photo/error.h"

namespace kestrova::photo {

TEST(Profile, BuiltInsAreRgbAndDiffer) {
    EXPECT_EQ(Profile().channels(), 3);
    EXPECT_EQ(Profile(), Profile::srgb());
    EXPECT_NE(Profile::srgb(), Profile::displayP3());
    EXPECT_NE(Profile::srgb(), Profile::working());
    EXPECT_EQ(Profile::displayP3().name(), "Display P3");
}

TEST(Profile, BytesThatAreNoProfileAreAnInputError) {
    try {
        Profile::fromBytes({1, 2, 3});
        FAIL() << "accepted";
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::input);
        EXPECT_STREQ(error.what(), "not a colour profile");
    }
}

}  // namespace kestrova::photo
