// The list notations: tokens, VLAN lists in both directions, ether-type lists
// and cell texts.
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/response.h"
#include "core/validate.h"
#include "tests/core/validate_test_util.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

TEST(TokenSplit, TokensAndConsumedLength) {
  char out[16];
  size_t consumed = 0;
  ASSERT_EQ(token_split("12,345,6", ',', out, sizeof out, &consumed), 0);
  EXPECT_STREQ(out, "12");
  EXPECT_EQ(consumed, 3u);
  ASSERT_EQ(token_split("345,6", ',', out, sizeof out, &consumed), 0);
  EXPECT_STREQ(out, "345");
  EXPECT_EQ(consumed, 4u);
  // Without a separator the whole text, and its length plus one.
  ASSERT_EQ(token_split("6", ',', out, sizeof out, &consumed), 0);
  EXPECT_STREQ(out, "6");
  EXPECT_EQ(consumed, 2u);
  ASSERT_EQ(token_split(",x", ',', out, sizeof out, &consumed), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(consumed, 1u);
  ASSERT_EQ(token_split("", ',', out, sizeof out, &consumed), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(consumed, 1u);
  ASSERT_EQ(token_split("a-b", '-', out, sizeof out, &consumed), 0);
  EXPECT_STREQ(out, "a");

  EXPECT_EQ(token_split(nullptr, ',', out, sizeof out, &consumed), -1);
  EXPECT_EQ(token_split("1", ',', nullptr, sizeof out, &consumed), -1);
  EXPECT_EQ(token_split("1", ',', out, sizeof out, nullptr), -1);
  // A token must fit with its terminator.
  char small[4];
  EXPECT_EQ(token_split("123,4", ',', small, sizeof small, &consumed), 0);
  EXPECT_EQ(token_split("1234,5", ',', small, sizeof small, &consumed), -1);
}

class VlanListToNumbers : public SimulatedSwitchTest {
 protected:
  // The numbers of a list text, or an empty vector with `rc` set on failure.
  std::vector<uint16_t> numbers(const char *text, size_t capacity = 64) {
    std::vector<uint16_t> out(capacity);
    uint32_t count = 12345;
    rc = vlan_list_to_numbers(text, out.data(), capacity, &count);
    if (rc != 0) {
      EXPECT_EQ(count, 12345u) << "count set on failure";
      return {};
    }
    out.resize(count);
    return out;
  }
  int rc = 0;
};

TEST_F(VlanListToNumbers, RangesAndSingles) {
  add_vlan(3);
  add_vlan(5);
  add_vlan(10);
  EXPECT_THAT(numbers("1-3,5"), ElementsAre(1, 2, 3, 5));
  EXPECT_THAT(numbers("1,3-5,10"), ElementsAre(1, 3, 4, 5, 10));
  // Reversed ends are swapped; numbers inside a range are not checked.
  EXPECT_THAT(numbers("5-3"), ElementsAre(3, 4, 5));
  EXPECT_THAT(numbers("10-10"), ElementsAre(10));
  // Single numbers are taken as atoi gives them, without a check.
  EXPECT_THAT(numbers("0"), ElementsAre(0));
  EXPECT_THAT(numbers("7,4094"), ElementsAre(7, 4094));
  EXPECT_THAT(numbers("x"), ElementsAre(0));
  EXPECT_THAT(numbers("1,,3"), ElementsAre(1, 0, 3));
  // Duplicates stay.
  EXPECT_THAT(numbers("3,1-3,3"), ElementsAre(3, 1, 2, 3, 3));
  EXPECT_THAT(numbers(""), IsEmpty());
  EXPECT_EQ(rc, 0);
}

TEST_F(VlanListToNumbers, RangeEndsMustBeVlans) {
  add_vlan(3);
  EXPECT_THAT(numbers("0-2"), IsEmpty());
  EXPECT_EQ(rc, -1);
  EXPECT_STREQ(last_error_text, "Invalid vlan id(0) allowed range(1..4093)");
  EXPECT_THAT(numbers("1-6"), IsEmpty());
  EXPECT_EQ(rc, -1);
  EXPECT_STREQ(last_error_text, "Invalid VLAN ID 6");
  EXPECT_THAT(numbers("1,3-4094"), IsEmpty());
  EXPECT_EQ(rc, -1);
  EXPECT_THAT(numbers("3-"), IsEmpty());
  EXPECT_EQ(rc, -1);
  EXPECT_THAT(numbers("-3"), IsEmpty());
  EXPECT_EQ(rc, -1);

  // The first failing end stops the walk: the existence of 3 is never asked.
  sim_.reset_counts();
  EXPECT_THAT(numbers("1-2,3-1"), IsEmpty());
  EXPECT_EQ(sim_.count("openapiVlanCreatedCheck"), 2u);

  sim_.fail("openapiVlanCreatedCheck", 1, OPEN_E_INTERNAL);
  EXPECT_THAT(numbers("1-3"), IsEmpty());
  EXPECT_EQ(rc, -1);
  EXPECT_STREQ(last_error_text, "Failed to check VLAN ID 1");
  sim_.fail("rpcclt_openapiDot1VlanMaxGet", 1, OPEN_E_INTERNAL);
  EXPECT_THAT(numbers("1-3"), IsEmpty());
  EXPECT_EQ(rc, -1);
  EXPECT_THAT(numbers("1-3"), ElementsAre(1, 2, 3));
}

TEST_F(VlanListToNumbers, TextLengthAndCapacity) {
  add_vlan(100);
  // 63 characters are taken, 64 are refused.
  std::string text;
  while (text.size() < 60) text += "1,";
  text += "100";
  ASSERT_EQ(text.size(), 63u);
  EXPECT_EQ(numbers(text.c_str()).size(), 31u);
  text += "0";
  EXPECT_THAT(numbers(text.c_str()), IsEmpty());
  EXPECT_EQ(rc, -1);

  EXPECT_THAT(numbers("1-100", 100), ::testing::SizeIs(100));
  EXPECT_THAT(numbers("1-100", 99), IsEmpty());
  EXPECT_EQ(rc, -1);
  EXPECT_THAT(numbers("1,2,3", 2), IsEmpty());
  EXPECT_EQ(rc, -1);

  uint16_t out[4];
  uint32_t count = 0;
  EXPECT_EQ(vlan_list_to_numbers(nullptr, out, 4, &count), -1);
  EXPECT_EQ(vlan_list_to_numbers("1", nullptr, 4, &count), -1);
  EXPECT_EQ(vlan_list_to_numbers("1", out, 4, nullptr), -1);
}

// The list text of some numbers, appended to `prefix`.
std::string list_text(const std::vector<uint16_t> &numbers, const char *prefix = "") {
  char out[128] = {};
  std::strcpy(out, prefix);
  EXPECT_EQ(numbers_to_vlan_list(numbers.data(), numbers.size(), out, sizeof out), 0);
  return out;
}

TEST(NumbersToVlanList, RunsInTheOrderGiven) {
  EXPECT_EQ(list_text({1, 2, 3, 5, 7, 8}), "1-3,5,7-8");
  EXPECT_EQ(list_text({4, 5, 6}), "4-6");
  EXPECT_EQ(list_text({9}), "9");
  EXPECT_EQ(list_text({3, 1}), "3,1");
  EXPECT_EQ(list_text({3, 4, 1, 2}), "3-4,1-2");
  EXPECT_EQ(list_text({5, 5}), "5,5");
  EXPECT_EQ(list_text({5, 4}), "5,4");
  EXPECT_EQ(list_text({4093, 4094}), "4093-4094");
  EXPECT_EQ(list_text({65534, 65535}), "65534-65535");
  EXPECT_EQ(list_text({}), "");
  // The text is appended to what the buffer holds.
  EXPECT_EQ(list_text({1, 2}, "vlans "), "vlans 1-2");
  EXPECT_EQ(list_text({}, "kept"), "kept");
}

TEST(NumbersToVlanList, ZeroRestartsTheRun) {
  EXPECT_EQ(list_text({0}), "0");
  EXPECT_EQ(list_text({5, 0}), "5,0");
  // A 0 inside the list closes the run before it and is then lost.
  EXPECT_EQ(list_text({5, 0, 7}), "5,7");
  EXPECT_EQ(list_text({0, 1, 2}), "1-2");
  EXPECT_EQ(list_text({1, 2, 0, 0, 3}), "1-2,3");
}

TEST(NumbersToVlanList, BufferBounds) {
  const uint16_t numbers[] = {1, 2, 3, 5};
  char out[5] = {};
  EXPECT_EQ(numbers_to_vlan_list(numbers, 4, out, sizeof out), -1);
  EXPECT_STREQ(out, "1-3,");  // what fitted, terminated
  char exact[6] = {};
  EXPECT_EQ(numbers_to_vlan_list(numbers, 3, exact, sizeof exact), 0);
  EXPECT_STREQ(exact, "1-3");
  char full[4] = {'a', 'b', 'c', 'd'};  // no terminator to append to
  EXPECT_EQ(numbers_to_vlan_list(numbers, 1, full, sizeof full), -1);
  EXPECT_EQ(numbers_to_vlan_list(nullptr, 1, exact, sizeof exact), -1);
  EXPECT_EQ(numbers_to_vlan_list(numbers, 1, nullptr, 8), -1);
}

TEST(ProtocolList, NumbersAndKeywords) {
  char text[] = "ip,arp,ipx,0x8100,2048,IPX,IP,ARP";
  uint32_t numbers[16] = {};
  uint32_t count = 0;
  ASSERT_EQ(protocol_list_parse(text, numbers, 16, &count), 0);
  EXPECT_EQ(count, 8u);
  EXPECT_THAT(std::vector<uint32_t>(numbers, numbers + count),
              ElementsAre(0x0800, 0x0806, 0x8137, 0x8100, 2048, 0x8137, 0x0800, 0x0806));
  EXPECT_STRNE(text, "ip,arp,ipx,0x8100,2048,IPX,IP,ARP");  // cut up in place
}

TEST(ProtocolList, PrefixComparisonAndUnknownWords) {
  char text[] = "ipv6,ipxe,arpa,Ip,foo,-5,0X10,0x1g";
  uint32_t numbers[8];
  for (uint32_t &n : numbers) n = 0xDEAD;
  uint32_t count = 0;
  ASSERT_EQ(protocol_list_parse(text, numbers, 8, &count), 0);
  // Every token counts; unknown words and signs leave their slot as it was;
  // "0X" is no hexadecimal prefix, and a number ends at its first non-digit.
  EXPECT_EQ(count, 8u);
  EXPECT_THAT(std::vector<uint32_t>(numbers, numbers + 8),
              ElementsAre(0x0800, 0x8137, 0x0806, 0xDEAD, 0xDEAD, 0xDEAD, 0, 1));

  // Past 32 bits: the largest 32-bit number, with 32- and 64-bit `long` alike.
  char wide[] = "4294969344,0x100000806,99999999999999999999999,4294967295";
  ASSERT_EQ(protocol_list_parse(wide, numbers, 8, &count), 0);
  EXPECT_THAT(std::vector<uint32_t>(numbers, numbers + count),
              ElementsAre(0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu));
}

TEST(ProtocolList, EmptyTokensAndCapacity) {
  char text[] = ",ip,,arp,";
  uint32_t numbers[4] = {};
  uint32_t count = 0;
  ASSERT_EQ(protocol_list_parse(text, numbers, 4, &count), 0);
  EXPECT_EQ(count, 2u);
  EXPECT_THAT(std::vector<uint32_t>(numbers, numbers + 2), ElementsAre(0x0800, 0x0806));

  char empty[] = "";
  ASSERT_EQ(protocol_list_parse(empty, numbers, 4, &count), 0);
  EXPECT_EQ(count, 0u);

  char three[] = "1,2,3";
  count = 99;
  EXPECT_EQ(protocol_list_parse(three, numbers, 2, &count), -1);
  EXPECT_EQ(count, 99u);
  EXPECT_EQ(protocol_list_parse(nullptr, numbers, 2, &count), -1);
}

TEST(CellNumbers, OneNumberPerFourCharacters) {
  const char text[] = "q 1 q 2 q 10xx99";
  int numbers[8] = {};
  ASSERT_EQ(cell_numbers_parse(text, std::strlen(text), numbers, 8), 0);
  EXPECT_THAT(std::vector<int>(numbers, numbers + 4), ElementsAre(1, 2, 10, 99));
  EXPECT_EQ(numbers[4], 0);

  // The number is read from the third character on, over the cell's end.
  const char run_on[] = "ab123456";
  ASSERT_EQ(cell_numbers_parse(run_on, 8, numbers, 8), 0);
  EXPECT_THAT(std::vector<int>(numbers, numbers + 2), ElementsAre(123456, 56));

  // A length that is no multiple of 4 still opens a last cell; one that
  // reaches past the text gives 0 there.
  for (int &n : numbers) n = -7;
  ASSERT_EQ(cell_numbers_parse("  1  2", 6, numbers, 8), 0);
  EXPECT_THAT(std::vector<int>(numbers, numbers + 3), ElementsAre(1, 0, -7));
  ASSERT_EQ(cell_numbers_parse("  1", 12, numbers, 8), 0);
  EXPECT_THAT(std::vector<int>(numbers, numbers + 4), ElementsAre(1, 0, 0, -7));
  ASSERT_EQ(cell_numbers_parse("", 0, numbers, 0), 0);
}

TEST(CellNumbers, RefusesMoreCellsThanRoom) {
  int numbers[2] = {};
  LogCapture log;
  EXPECT_EQ(cell_numbers_parse("  1   2   3", 12, numbers, 2), -1);
  EXPECT_EQ(cell_numbers_parse("  1   2   3", 8, numbers, 2), 0);
  EXPECT_EQ(cell_numbers_parse(nullptr, 8, numbers, 2), -1);
  EXPECT_THAT(log.text(), HasSubstr(" 4: Error: Insufficient space in dataArr\n"));
}

}  // namespace
