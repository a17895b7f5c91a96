#include "MiscConfigurationSettings.h"

#include <mach-o/dyld.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ConfigurationProfileManager.h"
#include "CoreWlanHelper.h"
#include "ExecuteProgram.h"
#include "OsFileSystemUtils.h"
#include "ShellQuote.h"

namespace {

// This family has one text for a missing message and a missing command name.
const char kNoCommandText[] = "No command object was provided while handling misc configuration commands!";

// Both SSID commands require a user name, though removing a network does not use it.
const Request::Required kSsid = {"SSID", "No SSID was provided to delete!", Request::Required::Bytes};
const Request::Required kUsername = {
    "Username", "No user name was provided while attempting to delete the configuration for an SSID!"};

const char kProfileDump[] = "/tmp/profiledump.txt";

// The only files "deletefileasroot" removes: those whose canonical path
// starts so.
const char kDeletablePrefix[] = "/Applications/helloworld";

// "<errno> -- <its text>", as the failure replies quote an error.
std::string errorText(int error) { return std::to_string(error) + " -- " + std::strerror(error); }

// The app bundle this process runs from ("/Applications/X.app" for
// "/Applications/X.app/Contents/..."), or "" when it runs from elsewhere, as a
// helper installed into PrivilegedHelperTools does.
std::string containingApp() {
  char path[PATH_MAX];
  char canonical[PATH_MAX];
  uint32_t size = sizeof path;
  if (_NSGetExecutablePath(path, &size) != 0 || realpath(path, canonical) == nullptr) return "";
  std::string executable = canonical;
  size_t contents = executable.find(".app/Contents/");
  return contents == std::string::npos ? "" : executable.substr(0, contents + 4);
}

}  // namespace

MiscConfigurationSettings::MiscConfigurationSettings(Logger* logger) : CommandHandlerBase(logger) {}

xpc_object_t MiscConfigurationSettings::handleCommand(std::string command, xpc_object_t message) {
  using Self = MiscConfigurationSettings;
  static const Command<Self> kCommands[] = {
      {"installzipappasroot", &Self::installZipToApplicationFolder,
       {{"ZipFile", "Invalid data provided while trying to install an application zip file!"}}},
      {"deletefileasroot", &Self::deleteFileAsRoot, {{"File", "No file name was provided to delete!"}}},
      {"deletessidconfiguration", &Self::deleteNetworkConfigForSsid,
       {kSsid, kUsername,
        {"InterfaceName", "No interface name was provided while attempting to delete an SSID!"}}},
      {"uninstall", &Self::removeHelperApp, {}},
      {"deleteprofilesforssid", &Self::deleteProfilesForSsid, {kSsid, kUsername}},
  };
  // Unlike the other families, this one takes its words only as written: in
  // lower case.
  return dispatch(command, message, {kNoCommandText, kNoCommandText, true}, kCommands);
}

xpc_object_t MiscConfigurationSettings::installZipToApplicationFolder(const Request& request) {
  xpc_object_t message = request.message;
  std::string zip = request.string("ZipFile");
  std::string destination = request.string("Destination");
  log(LogLevel::Progress, "Installing .zip file from : " + zip);
  FILE* archive = std::fopen(zip.c_str(), "r");
  if (archive == nullptr) return createError(message, "The source .zip file doesn't appear to exist at : " + zip);
  std::fclose(archive);
  // The destination only chooses between the two folders; no path is taken
  // from the client but the archive's, and that goes in as one word.
  const char* folder = destination == "Utilities" ? "/Applications/Utilities/" : "/Applications/";
  std::string line =
      std::string("unzip -o \"") + xpc::ShellQuote::insideDoubleQuotes(zip) + "\" -d \"" + folder + "\"";
  int result = std::system(line.c_str());
  if (result == 0) return createSuccessOrFailure(message, true);
  // The raw status goes to strerror as it is.
  return createError(message, "Unable to unzip the application zip file at : " + zip + " (Error is : " +
                                  errorText(result) + ")");
}

xpc_object_t MiscConfigurationSettings::deleteFileAsRoot(const Request& request) {
  xpc_object_t message = request.message;
  int error = 0;
  switch (xpc::OsFileSystemUtils(logger).deleteFileWithin(kDeletablePrefix, request.string("File"), error)) {
    case xpc::OsFileSystemUtils::Confinement::Removed:
      return createSuccessOrFailure(message, true);
    case xpc::OsFileSystemUtils::Confinement::Outside:
      return createError(message, "The file name provided does not meet the criteria necessary for deletion!");
    case xpc::OsFileSystemUtils::Confinement::Failed:
      break;
  }
  return createError(message, "Unable to delete the requested file!  (Error : " + errorText(error) + ")");
}

xpc_object_t MiscConfigurationSettings::deleteNetworkConfigForSsid(const Request& request) {
  auto version = static_cast<unsigned int>(request.int64("WlanApiVersion"));
  if (version >= 2) {
    return createError(request.message,
                       "Invalid Wlan API version value provided while attempting to delete a network "
                       "configuration for an SSID!");
  }
  std::string ssid = request.bytes("SSID");
  xpc::CoreWlanHelper wifi(logger, version);
  return createSuccessOrFailure(
      request.message, wifi.deleteConfigurationForSsid(request.string("InterfaceName"), ssid.data(), ssid.size()));
}

xpc_object_t MiscConfigurationSettings::removeHelperApp(const Request& request) {
  xpc_object_t message = request.message;
  // A helper its app registered runs from inside the app: its files are the
  // app's (deleting them would break the app's signature and leave the
  // registration behind), and only the app or the user can unregister it.
  std::string app = containingApp();
  if (!app.empty()) {
    log(LogLevel::Error, "The helper runs from inside " + app +
                             " and was not removed: the app unregisters it, or the user turns it off under "
                             "Allow in the Background in System Settings > General > Login Items.");
    return createError(message, "Unable to uninstall the helper app binary!");
  }
  // The installed files are named by the service label. Nothing is
  // restored when the second removal fails, and the running process goes on
  // serving: launchd drops the job once its files are gone.
  xpc::OsFileSystemUtils files(logger);
  if (!files.deleteFile(std::string("/Library/PrivilegedHelperTools/") + MACHELPER_SERVICE_LABEL)) {
    return createError(message, "Unable to uninstall the helper app binary!");
  }
  if (!files.deleteFile(std::string("/Library/LaunchDaemons/") + MACHELPER_SERVICE_LABEL + ".plist")) {
    return createError(message, "Unable to uninstall the helper app plist file!");
  }
  log(LogLevel::Progress, "The helper app has been uninstalled.");
  return createSuccessOrFailure(message, true);
}

xpc_object_t MiscConfigurationSettings::deleteProfilesForSsid(const Request& request) {
  std::string ssid = request.bytes("SSID");
  // The client's bytes end in a NUL; the name is what comes before it.
  ssid.resize(strnlen(ssid.c_str(), ssid.size()));
  return createSuccessOrFailure(request.message, deleteProfileBySsid(ssid, request.string("Username")));
}

bool MiscConfigurationSettings::deleteProfileBySsid(std::string ssid, std::string username) {
  if (ssid.empty()) {
    log(LogLevel::Error, "No SSID was provided while attempting to delete profiles for the named SSID!");
    return false;
  }
  // The tool is told to write the dump only once it is a file of our own,
  // which no other user can swap for a link in /tmp.
  xpc::OsFileSystemUtils files(logger);
  bool listed = files.createFreshFile(kProfileDump) &&
                ExecuteProgram(logger).executeWithShell(std::string("/usr/bin/profiles -P -o ") + kProfileDump) == 0;
  if (!listed) {
    log(LogLevel::Error, "Unable to get the listing of all available profiles!");
    // Quietly: the file may never have been made.
    xpc::OsFileSystemUtils(nullptr).deleteFile(kProfileDump);
    return false;
  }
  ConfigurationProfileManager manager(logger);
  // Only root can replace the dump in /tmp once it is ours, so checking it
  // before it is read is enough to read no link.
  if (!files.isPlainFile(kProfileDump) || !manager.loadProfiles(kProfileDump)) {
    log(LogLevel::Error, "Unable to read the existing configuration profile information!");
    if (!files.deleteFile(kProfileDump)) log(LogLevel::Warning, "Unable to delete the configuration profile dump temporary file!");
    return false;
  }
  bool deleted = manager.deleteProfilesForSsidAndUsername(ssid, username);
  if (!deleted) log(LogLevel::Error, "Unable to delete all of the existing configuration profiles for the SSID '" + ssid + "'!");
  if (!files.deleteFile(kProfileDump)) log(LogLevel::Warning, "Unable to delete the configuration profile dump temporary file!  (2)");
  return deleted;
}
