#include "MiscConfigurationSettings.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ConfigurationProfileManager.h"
#include "CoreWlanHelper.h"
#include "ExecuteProgram.h"
#include "OsFileSystemUtils.h"
#include "ShellQuote.h"

struct MiscConfigurationSettings::Command {
  const char* word;
  xpc_object_t (MiscConfigurationSettings::*handler)(xpc_object_t message);
};

namespace {

// This family has one text for a missing message and a missing command name.
const char kNoCommandText[] = "No command object was provided while handling misc configuration commands!";

const char kProfileDump[] = "/tmp/profiledump.txt";

// The only files "deletefileasroot" removes: those whose canonical path
// starts so.
const char kDeletablePrefix[] = "/Applications/helloworld";

// "<errno> -- <its text>", as the failure replies quote an error.
std::string errorText(int error) { return std::to_string(error) + " -- " + std::strerror(error); }

}  // namespace

MiscConfigurationSettings::MiscConfigurationSettings(Logger* logger) : CommandHandlerBase(logger) {}

xpc_object_t MiscConfigurationSettings::handleCommand(std::string command, xpc_object_t message) {
  using Self = MiscConfigurationSettings;
  // The order in which the words are tested.
  static const Command kCommands[] = {
      {"installzipappasroot", &Self::installZipToApplicationFolder},
      {"deletefileasroot", &Self::deleteFileAsRoot},
      {"deletessidconfiguration", &Self::deleteNetworkConfigForSsid},
      {"uninstall", &Self::removeHelperApp},
      {"deleteprofilesforssid", &Self::deleteProfilesForSsid},
  };

  if (noMessage(message, kNoCommandText)) return nullptr;
  if (command.empty()) return createError(message, kNoCommandText);
  // Unlike the other families, this one takes its words only as written: in
  // lower case.
  for (const Command& row : kCommands) {
    if (command == row.word) return (this->*row.handler)(message);
  }
  return nullptr;
}

xpc_object_t MiscConfigurationSettings::installZipToApplicationFolder(xpc_object_t message) {
  if (noMessage(message,
                "No command object was provided while attempting to install a .zip to the "
                "application folder!")) {
    return nullptr;
  }
  std::string zip = getStringFromXpc(message, "ZipFile");
  if (zip.empty()) {
    return createError(message, "Invalid data provided while trying to install an application zip file!");
  }
  std::string destination = getStringFromXpc(message, "Destination");
  log(5, "Installing .zip file from : " + zip);
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

xpc_object_t MiscConfigurationSettings::deleteFileAsRoot(xpc_object_t message) {
  if (noMessage(message, "No command object was provided while attempting to delete a file as root!")) return nullptr;
  std::string file = getStringFromXpc(message, "File");
  if (file.empty()) return createError(message, "No file name was provided to delete!");
  int error = 0;
  switch (xpc::OsFileSystemUtils(logger).deleteFileWithin(kDeletablePrefix, file, error)) {
    case xpc::OsFileSystemUtils::Confinement::Removed:
      return createSuccessOrFailure(message, true);
    case xpc::OsFileSystemUtils::Confinement::Outside:
      return createError(message, "The file name provided does not meet the criteria necessary for deletion!");
    case xpc::OsFileSystemUtils::Confinement::Failed:
      break;
  }
  return createError(message, "Unable to delete the requested file!  (Error : " + errorText(error) + ")");
}

bool MiscConfigurationSettings::readSsidRequest(xpc_object_t message, SsidRequest& request,
                                                xpc_object_t& refusal) {
  refusal = nullptr;
  if (noMessage(message,
                "No command object was provided while attempting to delete a network configuration "
                "for an SSID!")) {
    return false;
  }
  request.ssid = static_cast<const char*>(xpc_dictionary_get_data(message, "SSID", &request.length));
  if (request.ssid == nullptr || request.length == 0) {
    refusal = createError(message, "No SSID was provided to delete!");
    return false;
  }
  // Required by both commands, though removing a network does not use it.
  request.username = getStringFromXpc(message, "Username");
  if (request.username.empty()) {
    refusal = createError(message,
                          "No user name was provided while attempting to delete the configuration for an SSID!");
    return false;
  }
  return true;
}

xpc_object_t MiscConfigurationSettings::deleteNetworkConfigForSsid(xpc_object_t message) {
  SsidRequest request;
  xpc_object_t refusal;
  if (!readSsidRequest(message, request, refusal)) return refusal;
  std::string interfaceName = getStringFromXpc(message, "InterfaceName");
  if (interfaceName.empty()) {
    return createError(message, "No interface name was provided while attempting to delete an SSID!");
  }
  auto version = static_cast<unsigned int>(xpc_dictionary_get_int64(message, "WlanApiVersion"));
  if (version >= 2) {
    return createError(message,
                       "Invalid Wlan API version value provided while attempting to delete a network "
                       "configuration for an SSID!");
  }
  xpc::CoreWlanHelper wifi(logger, version);
  return createSuccessOrFailure(message, wifi.deleteConfigurationForSsid(interfaceName, request.ssid, request.length));
}

xpc_object_t MiscConfigurationSettings::removeHelperApp(xpc_object_t message) {
  if (noMessage(message, "The message provided to removeHelperApp() was NULL!")) return nullptr;
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
  log(5, "The helper app has been uninstalled.");
  return createSuccessOrFailure(message, true);
}

xpc_object_t MiscConfigurationSettings::deleteProfilesForSsid(xpc_object_t message) {
  SsidRequest request;
  xpc_object_t refusal;
  if (!readSsidRequest(message, request, refusal)) return refusal;
  std::string ssid(request.ssid, strnlen(request.ssid, request.length));
  return createSuccessOrFailure(message, deleteProfileBySsid(ssid, request.username));
}

bool MiscConfigurationSettings::deleteProfileBySsid(std::string ssid, std::string username) {
  if (ssid.empty()) {
    log(4, "No SSID was provided while attempting to delete profiles for the named SSID!");
    return false;
  }
  // The tool is told to write the dump only once it is a file of our own,
  // which no other user can swap for a link in /tmp.
  xpc::OsFileSystemUtils files(logger);
  bool listed = files.createFreshFile(kProfileDump) &&
                ExecuteProgram(logger).executeWithShell(std::string("/usr/bin/profiles -P -o ") + kProfileDump) == 0;
  if (!listed) {
    log(4, "Unable to get the listing of all available profiles!");
    // Quietly: the file may never have been made.
    xpc::OsFileSystemUtils(nullptr).deleteFile(kProfileDump);
    return false;
  }
  ConfigurationProfileManager manager(logger);
  // Only root can replace the dump in /tmp once it is ours, so checking it
  // before it is read is enough to read no link.
  if (!files.isPlainFile(kProfileDump) || !manager.loadProfiles(kProfileDump)) {
    log(4, "Unable to read the existing configuration profile information!");
    if (!files.deleteFile(kProfileDump)) log(3, "Unable to delete the configuration profile dump temporary file!");
    return false;
  }
  bool deleted = manager.deleteProfilesForSsidAndUsername(ssid, username);
  if (!deleted) log(4, "Unable to delete all of the existing configuration profiles for the SSID '" + ssid + "'!");
  if (!files.deleteFile(kProfileDump)) log(3, "Unable to delete the configuration profile dump temporary file!  (2)");
  return deleted;
}
