#include <Security/Security.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <unistd.h>

#include "CFTestSupport.h"
#include "ErrorUtils.h"
#include "ExecuteProgram.h"
#include "LogCapture.h"
#include "systemconfiguration/SCErrorState.h"

namespace {

using xpc::ErrorUtils;

class ExecuteProgramTest : public CFTest {
 protected:
  LogCapture log;
  ExecuteProgram program{log.logger()};
};

// The command's own redirections come first, so ours override them; the
// status is the raw wait status.
TEST_F(ExecuteProgramTest, CapturesBothStreamsWhateverTheCommandRedirects) {
  EXPECT_EQ(program.executeWithShell("sh -c 'echo second; echo oops >&2; exit 1' > /tmp/own.txt 2>&1"), 256);
  EXPECT_EQ(program.getStdOut(), "second\n");
  EXPECT_EQ(program.getStdErr(), "oops\n");
  EXPECT_NE(access("/tmp/cmdstdout.txt", F_OK), 0) << "the capture files are removed after every run";
  EXPECT_NE(access("/tmp/cmdstderr.txt", F_OK), 0);

  // A command that removes a capture file itself leaves a warning only.
  EXPECT_EQ(program.executeWithShell("sh -c 'echo gone; rm /tmp/cmdstdout.txt'"), 0);
  EXPECT_EQ(program.getStdOut(), "");
  EXPECT_TRUE(log.saw(3, "Unable to delete the temp file! (1)"));
}

class ErrorUtilsTest : public CFTest {
 protected:
  LogCapture log;
  ErrorUtils errors{log.logger()};
};

TEST_F(ErrorUtilsTest, DescribesSystemConfigurationsLastError) {
  _SCErrorSet(kSCStatusNoKey);
  // CF builds the description from the framework's text, as on a Mac.
  EXPECT_EQ(errors.getLastCFError(),
            "The operation couldn\xE2\x80\x99t be completed. (com.apple.SystemConfiguration error "
            "1004 - No such key)");
  std::vector<LogLine> expected{{5, "Domain string : com.apple.SystemConfiguration"},
                                {5, "Error code : 1004"}};
  EXPECT_EQ(log.take(), expected);

  _SCErrorSet(kSCStatusPrefsBusy);
  EXPECT_EQ(errors.getLastCFErrorCode(), 3002);
  CFErrorRef last = errors.getLastCFErrorObject();
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(CFErrorGetCode(last), 3002);
  _SCErrorSet(kSCStatusOK);
}

TEST_F(ErrorUtilsTest, DescribesAnyErrorObject) {
  auto description = cfstring("Could not save."), reason = cfstring("The file is locked.");
  const void* keys[] = {kCFErrorLocalizedDescriptionKey, kCFErrorLocalizedFailureReasonKey};
  const void* values[] = {description.get(), reason.get()};
  auto error = adopt(CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainPOSIX, 13, keys, values, 2));
  EXPECT_EQ(errors.getCFErrorString(error.get()), "Could not save.");
  EXPECT_TRUE(log.saw(5, "Failure reason : The file is locked."));

  EXPECT_EQ(errors.getCFErrorString(nullptr), "");
  EXPECT_TRUE(log.saw(4, "Unable to get error string from CFErrorRef object!  Value provided was NULL!"));
}

// The framework's own texts are checked with the keychain.
TEST_F(ErrorUtilsTest, SecurityStatusTexts) {
  EXPECT_EQ(errors.getErrorStringFromOsStatus(-1234567),
            "ERROR : Value returned from SecCopyErrorMessageString() was NULL!");
}

}  // namespace
