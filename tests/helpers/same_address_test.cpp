#include "helpers/same_address.h"

#include <gtest/gtest.h>

#include "support/fake_platform.h"

namespace msg_tarvel::helpers {

namespace {

/** A device as from the factory: US, eight digits decide. */
class SameAddress : public ::testing::Test {
 protected:
  SameAddress() {
    FakePlatform::get().set("db/csc/country_iso", "US");
    FakePlatform::get().set("db/contacts-svc/phonenumber_min_match_digit", 8);
  }
};

TEST_F(SameAddress, LosesThePunctuationOfPeople) {
  const std::pair<const char*, const char*> cases[] = {
      {"(415) 555-0111", "4155550111"},
      {" +1 415.555.0111 ", "+14155550111"},
      {"262966", "262966"},
      {"Parcels R-Us", "Parcels R-Us"},
      {" nora.quill@example.org\n", "nora.quill@example.org"},
      {"415-555-0111 x2", "415-555-0111 x2"},
      {"", ""},
      {"  ", ""},
      {"-.()", "-.()"},
  };
  for (const auto& [text, address] : cases) EXPECT_EQ(normalised_address(text), address) << text;
}

TEST_F(SameAddress, NamesEachPersonOnceInTheFirstForm) {
  EXPECT_EQ(people_among({"(415) 555-0111", " ", "Bob", "+14155550111", "", "+14155550122", "Bob"}),
            (std::vector<std::string>{"4155550111", "Bob", "+14155550122"}));
  EXPECT_TRUE(people_among({"  "}).empty());
}

TEST_F(SameAddress, IsTheSameInAnotherForm) {
  EXPECT_TRUE(is_same_address("+14155550111", "4155550111"));
  EXPECT_TRUE(is_same_address("14155550111", "4155550111"));
  EXPECT_TRUE(is_same_address("bob@example.org", "bob@example.org"));
  EXPECT_TRUE(is_same_address("+442079460111", "02079460111"));
  // Too short to be compared by their ends, or written alike and different.
  EXPECT_FALSE(is_same_address("5550111", "+14155550111"));
  EXPECT_FALSE(is_same_address("+14155550111", "+13155550111"));
  EXPECT_FALSE(is_same_address("4155550111", "3155550111"));
  EXPECT_FALSE(is_same_address("bob@example.org", "Bob@example.org"));
  EXPECT_FALSE(is_same_address("+2", "2"));
}

TEST_F(SameAddress, IsFoundInASetInAnyForm) {
  AddressSet set;
  EXPECT_TRUE(set.empty());
  EXPECT_TRUE(set.add("4155550111"));
  EXPECT_FALSE(set.add("+14155550111"));
  EXPECT_TRUE(set.add("+14155550112"));
  EXPECT_TRUE(set.add("Parcels"));
  ASSERT_TRUE(set.find("+14155550111"));
  EXPECT_EQ(*set.find("+14155550111"), "4155550111");
  EXPECT_FALSE(set.contains("parcels"));
  EXPECT_FALSE(set.contains("+14155550113"));
}

TEST_F(SameAddress, IsFoundAmongOthersOfTheSameEnding) {
  AddressSet set;
  EXPECT_TRUE(set.add("+14155550111"));
  EXPECT_TRUE(set.add("+13155550111"));
  EXPECT_FALSE(set.add("4155550111")) << "the same as both";
  EXPECT_EQ(*set.find("5155550111"), "+14155550111") << "the first";
  EXPECT_EQ(*set.find("+13155550111"), "+13155550111");
  EXPECT_FALSE(set.contains("+12155550111"));
  set.keep("2155550111");
  EXPECT_TRUE(set.contains("2155550111"));
  EXPECT_EQ(*set.find("+12155550111"), "2155550111");
}

TEST_F(SameAddress, HasTheTypeOfItsText) {
  EXPECT_EQ(address_type_of("+14155550111"), 1);
  EXPECT_EQ(address_type_of("262966"), 1);
  EXPECT_EQ(address_type_of("nora.quill@example.org"), 2);
  EXPECT_EQ(address_type_of(""), 2);
}

}  // namespace

}  // namespace msg_tarvel::helpers
