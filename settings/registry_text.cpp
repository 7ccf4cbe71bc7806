#include "services/base.h"
#include "settings/registry_text.h"

#include "settings/names.h"

namespace {

struct ValueLine {
  const char* type;
  const char* name;
  const char* hive;
  const char* accepted;
};

constexpr char kDword[] = "DWORD";
constexpr char kRegSz[] = "REGSZ";
constexpr char kMachine[] = "HKEY_LOCAL_MACHINE";
constexpr char kUser[] = "HKEY_CURRENT_USER";

// "ModernMenuStyle" is listed as a value of its own although the option is a bit of the
// option word; the list is shown as it has always been.
const ValueLine kLines[] = {
    {kDword, kValueLanguage, kMachine, "7=>german"},
    {kDword, kValuePictureLabelWidth, kMachine, ">0"},
    {kDword, kValuePictureLabelHeight, kMachine, ">0"},
    {kDword, kValueDebugConsole, kMachine, "1"},
    {kDword, kValueVerbose, kMachine, "1 <> 10"},
    {kDword, kValuePrintToLogFile, kMachine, "1"},
    {kDword, kValueDeleteSimulation, kMachine, "1"},
    {kDword, kValueDragAsThread, kMachine, "1"},
    {kDword, kValueDisplayCompanyLogo, kMachine, "1"},
    {kDword, "ModernMenuStyle", kUser, "!= 0"},
    {kDword, kValueColorMenuHigh, kUser, ">0"},
    {kDword, kValueColorMenuLow, kUser, ">0"},
    {kDword, kValueColorMenuSelection, kUser, ">0"},
    {kDword, kValueViewXY, kUser, ">0"},
    {kDword, kValueViewWH, kUser, ">0"},
    {kDword, kValueMinPicSize, kUser, ">0"},
    {kDword, kValueSkipCRCCheck, kUser, ">0"},
    {kRegSz, kValueTestMethod, kUser, "Call Method on CTRL-5"},
    {kDword, kValueDragLayered, kUser, "0 <> 255 specifying the alpha value"},
};

}  // namespace

std::string GetRegistryValuesText() {
  std::string text = "Registry Keys: ";
  for (const ValueLine& line : kLines) {
    text += "\n";
    text += line.type;
    text += "\t\"";
    text += line.name;
    text += "\"\t";
    text += line.hive;
    text += "\t";
    text += line.accepted;
  }
  return text;
}
