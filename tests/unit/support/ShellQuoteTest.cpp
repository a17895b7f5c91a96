#include <unistd.h>

#include <string>
#include <vector>

#include "CFTestSupport.h"
#include "ExecuteProgram.h"
#include "ShellQuote.h"

namespace {

using xpc::ShellQuote;

// What users, paths and profile identifiers look like day to day: the
// command lines built from them read exactly as they always have.
TEST(ShellQuoteTest, OrdinaryValuesAreUnchanged) {
  for (const char* value : {"alex", "_computerlevel", "/tmp/tempcert.cer", "edu.example.onboarding.campus-secure",
                            "user@example.com", "a%b+c=d:e,f/g_h-i"}) {
    EXPECT_EQ(ShellQuote::word(value), value);
    EXPECT_EQ(ShellQuote::insideDoubleQuotes(value), value);
  }
  EXPECT_EQ(ShellQuote::insideDoubleQuotes("/Users/alex/My Profiles/Campus (2).mobileconfig"),
            "/Users/alex/My Profiles/Campus (2).mobileconfig");
  EXPECT_EQ(ShellQuote::word("Campus Secure"), "'Campus Secure'");
  EXPECT_EQ(ShellQuote::word("it's"), "'it'\\''s'");
  EXPECT_EQ(ShellQuote::word(""), "''");
}

// Each value reaches the program as one argument, byte for byte, in either
// position, and nothing in it runs.
TEST(ShellQuoteTest, EveryMetacharacterIsDataToTheShell) {
  const std::vector<std::string> values{
      "a b",  "a\"b", "a'b", "$HOME", "${HOME}", "`touch /tmp/x`", "$(touch /tmp/x)", "a;touch /tmp/x",
      "a\ntouch /tmp/x", "a\\", "\\\"", "*", "a|b&c", "<a>b", "~", "#x", "a\tb", "-n", "!x", "'\"'\"",
  };
  ExecuteProgram program(nullptr);
  for (const std::string& value : values) {
    std::string line = "printf '%s|' " + ShellQuote::word(value) + " \"" + ShellQuote::insideDoubleQuotes(value) + "\"";
    ASSERT_EQ(program.executeWithShell(line), 0) << line;
    EXPECT_EQ(program.getStdOut(), value + "|" + value + "|\n") << line;
  }
  EXPECT_NE(access("/tmp/x", F_OK), 0);
}

}  // namespace
