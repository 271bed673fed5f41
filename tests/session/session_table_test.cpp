// The session table on its own: reuse of a user's session, limits, the
// purge of dead sessions as the clock moves, exact lookups and deletes.
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "session/session.h"
#include "support/device.h"
#include "support/uptime.h"
#include "tests/common/sim_fixture.h"

namespace {

constexpr int kSoft = 5;   // minutes
constexpr int kHard = 24;  // hours

class SessionTableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    set_device_root(root_.path());
    std::filesystem::create_directories(root_.path() + "/run");
    advance(0);  // the clock file is read only when it is there from the first reading
    session_table_clear();
  }
  void TearDown() override { session_table_clear(); }

  // Moves the uptime the table reads forward.
  void advance(long seconds) {
    offset_ += seconds;
    std::ofstream(root_.path() + "/run/uptime-offset", std::ios::trunc) << offset_ << "\n";
  }

  Session *login(const char *user, const char *sid, int max = 4) {
    return session_get_or_create(user, sid, kSoft, kHard, max);
  }

  static int count() {
    int n = 0;
    for (Session *s = session_table_head(); s; s = s->next) ++n;
    return n;
  }

  veltrum::test::TempDir root_;
  long offset_ = 0;
};

TEST_F(SessionTableTest, ANewSessionHasAnUpperCaseHexToken) {
  long before = get_uptime();
  Session *s = login("admin", "cookie-1");
  long after = get_uptime();
  ASSERT_NE(s, nullptr);
  EXPECT_STREQ(s->user, "admin");
  EXPECT_STREQ(s->sid, "cookie-1");
  EXPECT_GE(s->created, before);
  EXPECT_LE(s->created, after);
  EXPECT_EQ(s->last_access, s->created);
  std::string token = s->token;
  EXPECT_GE(token.size(), 4u);
  EXPECT_LE(token.size(), 32u);
  EXPECT_EQ(token.find_first_not_of("0123456789ABCDEF"), std::string::npos) << token;
  EXPECT_EQ(session_table_head(), s);
}

TEST_F(SessionTableTest, TokensAreNotRepeated) {
  std::set<std::string> tokens;
  for (int i = 0; i < 300; ++i) {
    // Same-length cookies: a stored "c1" would match "c10" as a prefix.
    std::string sid = std::to_string(1000 + i);
    Session *s = login("admin", sid.c_str(), 1000);
    ASSERT_NE(s, nullptr);
    tokens.insert(s->token);
  }
  EXPECT_EQ(tokens.size(), 300u);
}

TEST_F(SessionTableTest, SameUserAndCookieGetTheSameSessionRefreshed) {
  Session *first = login("admin", "c1", 1);
  ASSERT_NE(first, nullptr);
  int32_t created = first->created;
  std::string token = first->token;
  advance(100);
  // The table is full, but a repeated login needs no slot.
  Session *again = login("admin", "c1", 1);
  EXPECT_EQ(again, first);
  EXPECT_EQ(again->token, token);
  EXPECT_EQ(again->created, created);
  EXPECT_GE(again->last_access, created + 100);
  EXPECT_EQ(count(), 1);
  // Another cookie or another user is another session.
  EXPECT_EQ(login("admin", "c2", 1), nullptr);
  EXPECT_NE(login("admin", "c2", 2), first);
  EXPECT_EQ(count(), 2);
}

TEST_F(SessionTableTest, StoredUserAndCookieMatchAsPrefixes) {
  Session *short_one = login("adm", "abc");
  ASSERT_NE(short_one, nullptr);
  EXPECT_EQ(login("admin", "abcdef"), short_one);
  EXPECT_EQ(count(), 1);
  // The given names are not prefixes of the stored ones.
  session_table_clear();
  Session *full = login("admin", "abcdef");
  EXPECT_NE(login("adm", "abcdef"), full);
  EXPECT_NE(login("admin", "abc"), full);
  EXPECT_EQ(count(), 3);
}

TEST_F(SessionTableTest, TheTableHoldsAtMostMaxSessionsNewestFirst) {
  Session *a = login("admin", "a", 3);
  Session *b = login("admin", "b", 3);
  Session *c = login("admin", "c", 3);
  ASSERT_TRUE(a && b && c);
  EXPECT_EQ(login("admin", "d", 3), nullptr);
  EXPECT_EQ(session_table_head(), c);
  EXPECT_EQ(c->next, b);
  EXPECT_EQ(b->next, a);
  EXPECT_EQ(a->next, nullptr);
  EXPECT_EQ(login("admin", "d", 0), nullptr);
}

TEST_F(SessionTableTest, ALoginPurgesDeadSessionsToMakeRoom) {
  Session *oldest = login("admin", "old", 2);
  ASSERT_NE(oldest, nullptr);
  advance(200);
  ASSERT_NE(login("admin", "young", 2), nullptr);
  EXPECT_EQ(login("admin", "third", 2), nullptr);
  advance(101);  // the oldest is idle for more than 300 s now
  Session *third = login("admin", "third", 2);
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(count(), 2);
  for (Session *s = session_table_head(); s; s = s->next) EXPECT_STRNE(s->sid, "old");
}

TEST_F(SessionTableTest, PurgeCountsTheSurvivors) {
  login("admin", "a");
  advance(250);
  login("admin", "b");
  EXPECT_EQ(session_purge_expired(kSoft, kHard), 2);
  advance(60);
  EXPECT_EQ(session_purge_expired(kSoft, kHard), 1);
  EXPECT_STREQ(session_table_head()->sid, "b");
  advance(24 * 3600);
  EXPECT_EQ(session_purge_expired(kSoft, kHard), 0);
  EXPECT_EQ(session_table_head(), nullptr);
}

TEST(SessionAlive, BothLimitsCountEqualityAsAlive) {
  Session s{};
  s.created = 1000;
  s.last_access = 1000;
  EXPECT_TRUE(session_alive(&s, 1000 + 5 * 60, 5, 24));
  EXPECT_FALSE(session_alive(&s, 1000 + 5 * 60 + 1, 5, 24));
  s.last_access = 1000 + 24 * 3600;
  EXPECT_TRUE(session_alive(&s, 1000 + 24 * 3600, 5, 24));
  EXPECT_FALSE(session_alive(&s, 1000 + 24 * 3600 + 1, 5, 24));
  // Limits changed at run time apply to existing sessions at once.
  EXPECT_FALSE(session_alive(&s, 1000 + 24 * 3600, 5, 23));
  s.created = s.last_access = 1000;
  EXPECT_TRUE(session_alive(&s, 1000 + 600, 10, 24));
}

TEST_F(SessionTableTest, FindByTokenNeedsTheExactTokenAndCookie) {
  Session *s = login("admin", "cookie");
  ASSERT_NE(s, nullptr);
  std::string token = s->token;
  EXPECT_EQ(session_find_by_token(token.c_str(), "cookie"), s);
  EXPECT_EQ(session_find_by_token(token.c_str(), "cookie2"), nullptr);
  EXPECT_EQ(session_find_by_token(token.c_str(), "cook"), nullptr);
  EXPECT_EQ(session_find_by_token(token.substr(0, token.size() - 1).c_str(), "cookie"), nullptr);
  EXPECT_EQ(session_find_by_token((token + "A").c_str(), "cookie"), nullptr);
  EXPECT_EQ(session_find_by_token("", "cookie"), nullptr);
  EXPECT_EQ(session_find_by_token(nullptr, "cookie"), nullptr);
  EXPECT_EQ(session_find_by_token(token.c_str(), nullptr), nullptr);
}

TEST_F(SessionTableTest, DeleteByTokenRemovesEveryMatchAndNothingElse) {
  Session *a = login("admin", "c1");
  Session *b = login("bob", "c1");
  Session *other = login("admin", "c2");
  ASSERT_TRUE(a && b && other);
  std::strcpy(b->token, a->token);  // two records of one token and cookie
  std::string token = a->token;
  session_delete_by_token(token.c_str(), "c2");  // wrong cookie: nothing
  EXPECT_EQ(count(), 3);
  session_delete_by_token(token.c_str(), "c1");
  EXPECT_EQ(count(), 1);
  EXPECT_EQ(session_table_head(), other);
  session_delete_by_token(nullptr, "c2");
  session_delete_by_token(other->token, nullptr);
  EXPECT_EQ(count(), 1);
}

TEST_F(SessionTableTest, DeleteByUserRemovesTheNewestMatchOnly) {
  Session *older = login("admin", "c1");
  Session *newer = login("bob", "c1");
  ASSERT_TRUE(older && newer);
  std::strcpy(newer->user, "admin");
  session_delete_by_user("adm", "c1");      // exact names only
  session_delete_by_user("admin", "c1x");
  EXPECT_EQ(count(), 2);
  session_delete_by_user("admin", "c1");
  EXPECT_EQ(count(), 1);
  EXPECT_EQ(session_table_head(), older);
  session_delete_by_user(nullptr, "c1");
  session_delete_by_user("admin", nullptr);
  EXPECT_EQ(count(), 1);
}

TEST_F(SessionTableTest, LongNamesAreCut) {
  std::string user(40, 'u');
  std::string sid(200, 's');
  Session *s = login(user.c_str(), sid.c_str());
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(std::string(s->user), user.substr(0, 31));
  EXPECT_EQ(std::string(s->sid), sid.substr(0, 127));
  // The same long names find the same session again (prefix match).
  EXPECT_EQ(login(user.c_str(), sid.c_str()), s);
}

TEST_F(SessionTableTest, NullNamesMakeNoSession) {
  EXPECT_EQ(login(nullptr, "c"), nullptr);
  EXPECT_EQ(login("admin", nullptr), nullptr);
  EXPECT_EQ(count(), 0);
}

TEST_F(SessionTableTest, DumpPrintsEveryRecord) {
  Session *s = login("admin", "c1");
  ASSERT_NE(s, nullptr);
  testing::internal::CaptureStdout();
  session_dump();
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(out, "session: admin:c1:" + std::to_string(s->created) + ":" + std::to_string(s->last_access) + "\n");
}

}  // namespace
