// SETTINGS.INI key by key: how each value is read, held and written.
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "config/settings_file.h"
#include "core/text.h"

namespace vantry {
namespace {

struct Key {
  const char* key;
  const char* text;  // A value that is not the default, as the writer writes it.
  bool (*held)(const Settings&);
};

#define VANTRY_HELD(expression) [](const Settings& s) { return expression; }
const Key kKeys[] = {
    {"InactivityMins", " 17", VANTRY_HELD(s.InactivityMins == 17)},
    {"ReverseDNS", "False", VANTRY_HELD(!s.ReverseDNS)},
    {"DDFPath", "/data", VANTRY_HELD(s.DDFPath == "/data")},
    {"DefaultSound", "ding.wav", VANTRY_HELD(s.DefaultSound == "ding.wav")},
    {"NewVisitorSound", "False", VANTRY_HELD(!s.NewVisitorSound)},
    {"ChangeIconDuringScan", "False", VANTRY_HELD(!s.ChangeIconDuringScan)},
    {"AutoHide", "True", VANTRY_HELD(s.AutoHide)},
    {"AutoArchive", "True", VANTRY_HELD(s.AutoArchive)},
    {"AutoArchiveDays", "61", VANTRY_HELD(s.AutoArchiveDays == 61)},
    {"AutoArchiveTime", "23:59:58", VANTRY_HELD(s.AutoArchiveTime == 86398)},
    {"WebAccess", "False", VANTRY_HELD(!s.WebAccess)},
    {"WebAccessControl", "True", VANTRY_HELD(s.WebAccessControl)},
    {"WebAccessPort", " 8005", VANTRY_HELD(s.WebAccessPort == 8005)},
    {"WebColBackColor", "#000001", VANTRY_HELD(s.WebColBackColor == "#000001")},
    {"WebColButtonBorder", "#000002", VANTRY_HELD(s.WebColButtonBorder == "#000002")},
    {"WebColButtonFace", "#000003", VANTRY_HELD(s.WebColButtonFace == "#000003")},
    {"WebColButtonHighlight", "#000004", VANTRY_HELD(s.WebColButtonHighlight == "#000004")},
    {"WebColDarkBorder", "#000005", VANTRY_HELD(s.WebColDarkBorder == "#000005")},
    {"WebColGrid", "#000006", VANTRY_HELD(s.WebColGrid == "#000006")},
    {"WebColGridBack", "#000007", VANTRY_HELD(s.WebColGridBack == "#000007")},
    {"WebColGridHeader", "#000008", VANTRY_HELD(s.WebColGridHeader == "#000008")},
    {"WebColLiteBorder", "#000009", VANTRY_HELD(s.WebColLiteBorder == "#000009")},
    {"WebColTableHeading", "#00000A", VANTRY_HELD(s.WebColTableHeading == "#00000A")},
    {"WebAccessLog", "False", VANTRY_HELD(!s.WebAccessLog)},
    {"WebAccessEmail", "True", VANTRY_HELD(s.WebAccessEmail)},
    {"WAPAccess", "False", VANTRY_HELD(!s.WAPAccess)},
    {"WebUsername", "ann", VANTRY_HELD(s.WebUsername == "ann")},
    {"WebPassword", "pass=word", VANTRY_HELD(s.WebPassword == "pass=word")},
    {"NoSpiders", "True", VANTRY_HELD(s.NoSpiders)},
    {"EmailServer", "mail.example", VANTRY_HELD(s.EmailServer == "mail.example")},
    {"EmailUserName", "mu", VANTRY_HELD(s.EmailUserName == "mu")},
    {"EmailPassword", "mp", VANTRY_HELD(s.EmailPassword == "mp")},
    {"EmailSendTo", "to@example", VANTRY_HELD(s.EmailSendTo == "to@example")},
    {"EmailFrom", "from@example", VANTRY_HELD(s.EmailFrom == "from@example")},
    {"EmailSubject", "Hello", VANTRY_HELD(s.EmailSubject == "Hello")},
    {"EmailEvery", " 3", VANTRY_HELD(s.EmailEvery == 3)},
    {"EmailDailyReport", "True", VANTRY_HELD(s.EmailDailyReport)},
    {"SQLServer", "True", VANTRY_HELD(s.SQLServer)},
    {"SQLServerName", "db", VANTRY_HELD(s.SQLServerName == "db")},
    {"SQLServerAuth", "False", VANTRY_HELD(!s.SQLServerAuth)},
    {"SQLServerUser", "su", VANTRY_HELD(s.SQLServerUser == "su")},
    {"SQLServerPass", "sp", VANTRY_HELD(s.SQLServerPass == "sp")},
    {"SQLServerMins", "16", VANTRY_HELD(s.SQLServerMins == 16)},
    {"SMSConnect", " 1", VANTRY_HELD(s.SMSConnect == 1)},
    {"SMSServerName", "sms", VANTRY_HELD(s.SMSServerName == "sms")},
    {"SMSServerPort", " 3340", VANTRY_HELD(s.SMSServerPort == 3340)},
    {"SMSFolder", "/sms", VANTRY_HELD(s.SMSFolder == "/sms")},
    {"DNSMask1", "*.a", VANTRY_HELD(s.DNSMask[0] == "*.a")},
    {"DNSMask50", "*.z", VANTRY_HELD(s.DNSMask[49] == "*.z")},
    {"Extension1", "jsp", VANTRY_HELD(s.Extension == std::vector<std::string>{"jsp"})},
};

TEST(SettingsKeys, EveryKey_IsReadAloneAndWrittenBack) {
  for (const Key& k : kKeys) {
    SCOPED_TRACE(k.key);
    const Settings fresh;
    EXPECT_FALSE(k.held(fresh));
    const std::string line = std::string(k.key) + "=" + k.text + "\r\n";
    for (const std::string& form : {line, Lower(k.key) + "=" + k.text + "\r\n"}) {
      Settings s;
      EXPECT_FALSE(ParseSettings(form + "\r\n", s));
      EXPECT_TRUE(k.held(s));
      EXPECT_TRUE(Contains(FormatSettings(s), "\r\n" + line));
    }
  }
}

TEST(SettingsKeys, EveryWrittenKey_StandsInTheTableAbove) {
  std::set<std::string> known;
  for (const Key& k : kKeys) known.insert(k.key);
  const std::string text = FormatSettings(Settings{});
  for (const std::string_view line : TextLines(text)) {
    const size_t at = line.find('=');
    if (at == std::string_view::npos || StartsWith(line, "DNSMask")) continue;
    EXPECT_TRUE(known.contains(std::string(line.substr(0, at)))) << line;
  }
}

TEST(SettingsKeys, ValueForms_AreReadAsEachKeyDemands) {
  struct Case {
    const char* name;
    const char* line;
    bool (*held)(const Settings&);
  };
  const Case cases[] = {
      {"number without its blank", "InactivityMins=5", VANTRY_HELD(s.InactivityMins == 5)},
      {"number without its blank's twin", "AutoArchiveDays= 5", VANTRY_HELD(s.AutoArchiveDays == 5)},
      {"lenient number", "EmailEvery=7 minutes", VANTRY_HELD(s.EmailEvery == 7)},
      {"lenient number of nothing", "EmailEvery=", VANTRY_HELD(s.EmailEvery == 0)},
      {"lenient number of letters", "SMSServerPort=x", VANTRY_HELD(s.SMSServerPort == 0)},
      {"bool as a number", "AutoHide=-1", VANTRY_HELD(s.AutoHide)},
      {"bool as zero", "ReverseDNS=0", VANTRY_HELD(!s.ReverseDNS)},
      {"blank behind the sign is kept in text", "EmailSubject= Hi", VANTRY_HELD(s.EmailSubject == " Hi")},
      {"blanks around the line go", "   EmailSubject=Hi   ", VANTRY_HELD(s.EmailSubject == "Hi")},
      {"blanks around the key go", "EmailSubject  =Hi", VANTRY_HELD(s.EmailSubject == "Hi")},
      {"only the first sign cuts", "EmailSubject=a=b", VANTRY_HELD(s.EmailSubject == "a=b")},
      {"empty text", "EmailSubject=", VANTRY_HELD(s.EmailSubject.empty())},
      {"data folder gets no separator", "DDFPath=/d", VANTRY_HELD(s.DDFPath == "/d")},
      {"mask place 0 is ignored", "DNSMask0=x", VANTRY_HELD(s.DNSMask == Settings::DefaultMasks())},
      {"mask place 51 is ignored", "DNSMask51=x", VANTRY_HELD(s.DNSMask == Settings::DefaultMasks())},
      {"empty mask empties its place", "DNSMask2=", VANTRY_HELD(s.DNSMask[1].empty())},
      {"extension number is ignored", "Extension99=a", VANTRY_HELD(s.Extension.size() == 1)},
      {"extension is lower case", "Extension1=HTM", VANTRY_HELD(s.Extension.at(0) == "htm")},
      {"empty extension is skipped", "Extension1=", VANTRY_HELD(s.Extension.empty())},
      {"unknown key is ignored", "Nonsense=1", VANTRY_HELD(s.InactivityMins == 10)},
      {"section line is ignored", "[InactivityMins=5", VANTRY_HELD(s.InactivityMins == 10)},
      {"line without a sign is ignored", "InactivityMins", VANTRY_HELD(s.InactivityMins == 10)}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Settings s;
    EXPECT_FALSE(ParseSettings(std::string(c.line) + "\r\n\r\n", s));
    EXPECT_TRUE(c.held(s));
  }
}
#undef VANTRY_HELD

TEST(SettingsKeys, Problems_KeepWhatWasReadAndNameTheLine) {
  std::string extensions;
  for (int i = 1; i <= 31; ++i) extensions += "Extension" + std::to_string(i) + "=e\r\n";
  struct Case {
    const char* name;
    std::string lines;
    int line;
  };
  const Case cases[] = {{"bad bool", "EmailSubject=read\r\nAutoHide=maybe\r\n", 2},
                        {"empty bool", "EmailSubject=read\r\nAutoHide=\r\n", 2},
                        {"bad port", "EmailSubject=read\r\n\r\nWebAccessPort=80x\r\n", 3},
                        {"empty port", "EmailSubject=read\r\nWebAccessPort=\r\n", 2},
                        {"port with a point", "EmailSubject=read\r\nWebAccessPort=80.5\r\n", 2},
                        {"bad time", "EmailSubject=read\r\nAutoArchiveTime=25:00:00\r\n", 2},
                        {"mask without a number", "EmailSubject=read\r\nDNSMask=x\r\n", 2},
                        {"mask with a word", "EmailSubject=read\r\nDNSMaskOne=x\r\n", 2},
                        {"31st extension", "EmailSubject=read\r\n" + extensions, 32}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Settings s;
    const auto problem = ParseSettings(c.lines + "EmailFrom=late\r\n\r\n", s);
    ASSERT_TRUE(problem);
    EXPECT_EQ(problem->line, c.line);
    EXPECT_NE(problem->text, "");
    EXPECT_EQ(s.EmailSubject, "read");
    EXPECT_EQ(s.EmailFrom, "");
    EXPECT_LE(s.Extension.size(), 30u);
  }
}

TEST(SettingsKeys, LastLine_IsNeverProcessed) {
  Settings s;
  EXPECT_FALSE(ParseSettings("EmailFrom=a\r\nEmailSendTo=b\r\n", s));
  EXPECT_EQ(s.EmailFrom, "a");
  EXPECT_EQ(s.EmailSendTo, "");
  EXPECT_FALSE(ParseSettings("AutoHide=maybe", s));
}

TEST(SettingsKeys, Masks_KeepTheirPlacesOverGaps) {
  Settings s;
  s.DNSMask = {};
  s.DNSMask[6] = "*.seven";
  s.DNSMask[49] = "*.fifty";
  const std::string text = FormatSettings(s);
  EXPECT_TRUE(Contains(text, "\r\nSMSFolder=\r\nDNSMask7=*.seven\r\nDNSMask50=*.fifty\r\n\r\n"));
  Settings again;
  EXPECT_FALSE(ParseSettings(text, again));
  EXPECT_EQ(again.DNSMask[6], "*.seven");
  EXPECT_EQ(again.DNSMask[49], "*.fifty");
  // A default that was taken out is back: its empty place is not written.
  EXPECT_EQ(again.DNSMask[0], Settings::DefaultMasks()[0]);
}

}  // namespace
}  // namespace vantry
