#include "config/registry_store.h"

#include <string>

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

using Names = std::vector<std::string>;

struct Bench {
  MemoryFiles files;
  RegistryFile store{files, "/p/registry.ini"};
};

TEST(RegistryStore, MissingFile_GivesFallbacks) {
  Bench b;
  EXPECT_EQ(ReadRegistryValue(b.store, "Settings", "DDFPath", ""), "");
  EXPECT_EQ(ReadRegistryValue(b.store, "Settings", "CurrentViewType", "1"), "1");
  EXPECT_EQ(b.store.Get("Settings", "DDFPath"), std::nullopt);
  EXPECT_FALSE(b.store.SectionExists("Settings"));
  EXPECT_TRUE(b.store.Sections("").empty());
  EXPECT_FALSE(b.files.Exists("/p/registry.ini"));
}

TEST(RegistryStore, WrittenValues_AreReadBack) {
  Bench b;
  WriteRegistryValue(b.store, "Settings", "DDFPath", "/p/Data/");
  WriteRegistryValue(b.store, "Form", "FormTop", "-5");
  WriteRegistryValue(b.store, "Settings", "EmailAddresses", "a=b;[c]");
  EXPECT_EQ(ReadRegistryValue(b.store, "Settings", "DDFPath", "x"), "/p/Data/");
  EXPECT_EQ(ReadRegistryValue(b.store, "Form", "FormTop", "x"), "-5");
  EXPECT_EQ(ReadRegistryValue(b.store, "Settings", "EmailAddresses", "x"), "a=b;[c]");
  EXPECT_EQ(b.files.Get("/p/registry.ini"),
            "[Settings]\nDDFPath=/p/Data/\nEmailAddresses=a=b;[c]\n\n[Form]\nFormTop=-5\n\n");
}

TEST(RegistryStore, EmptyValue_IsAValue) {
  Bench b;
  WriteRegistryValue(b.store, "Settings", "EmailAddresses", "");
  EXPECT_EQ(ReadRegistryValue(b.store, "Settings", "EmailAddresses", "fallback"), "");
}

TEST(RegistryStore, Names_MatchInAnyCaseAndKeepTheirFirstSpelling) {
  Bench b;
  WriteRegistryValue(b.store, "Settings", "ServiceRunning", "False");
  WriteRegistryValue(b.store, "SETTINGS", "servicerunning", "True");
  EXPECT_EQ(b.files.Get("/p/registry.ini"), "[Settings]\nServiceRunning=True\n\n");
  EXPECT_EQ(ReadRegistryValue(b.store, "settings", "SERVICERUNNING", ""), "True");
}

TEST(RegistryStore, HandWrittenFile_IsReadLeniently) {
  Bench b;
  b.files.Put("/p/registry.ini", "stray=1\r\n [Settings] \r\n  Name = a b  \r\nno sign\r\n[Settings]\r\nMore=2");
  EXPECT_EQ(b.store.Get("Settings", "Name"), "a b");
  EXPECT_EQ(b.store.Get("Settings", "More"), "2");
  EXPECT_EQ(b.store.Names("Settings"), (Names{"Name", "More"}));
  EXPECT_EQ(b.store.Sections(""), Names{"Settings"});
}

TEST(RegistryStore, OperatorsEdit_CountsAtOnce) {
  Bench b;
  WriteRegistryValue(b.store, "Settings", "A", "1");
  b.files.Put("/p/registry.ini", "[Settings]\nA=2\n");
  EXPECT_EQ(ReadRegistryValue(b.store, "Settings", "A", ""), "2");
}

TEST(RegistryStore, SameValue_IsNotWrittenAgain) {
  Bench b;
  WriteRegistryValue(b.store, "Settings", "A", "1");
  b.files.calls.clear();
  WriteRegistryValue(b.store, "Settings", "A", "1");
  EXPECT_EQ(b.files.calls, Names{"read /p/registry.ini"});
}

TEST(RegistryStore, FailedWrite_IsLostAndKeepsTheOldBytes) {
  Bench b;
  WriteRegistryValue(b.store, "Settings", "A", "1");
  const std::string old = b.files.Get("/p/registry.ini");
  b.files.fails = [](const std::string& call) { return StartsWith(call, "replace"); };
  WriteRegistryValue(b.store, "Settings", "A", "2");
  EXPECT_EQ(b.files.Get("/p/registry.ini"), old);
  EXPECT_EQ(ReadRegistryValue(b.store, "Settings", "A", ""), "1");
}

TEST(RegistryStore, UnreadableFile_IsNotOverwritten) {
  Bench b;
  b.files.Put("/p/registry.ini", "[Settings]\nA=1\n");
  b.files.entries["/p/registry.ini"]->readable = false;
  EXPECT_EQ(ReadRegistryValue(b.store, "Settings", "A", "fallback"), "fallback");
  EXPECT_FALSE(b.store.Set("Settings", "B", "2").ok());
  EXPECT_FALSE(b.store.DeleteValue("Settings", "A").ok());
  EXPECT_FALSE(b.store.DeleteSection("Settings").ok());
  EXPECT_FALSE(b.store.CreateSection("Form").ok());
  EXPECT_EQ(b.files.Get("/p/registry.ini"), "[Settings]\nA=1\n");
}

TEST(RegistryStore, LineEnds_CannotMakeNewLines) {
  Bench b;
  WriteRegistryValue(b.store, "Settings", "A", "1\r\n[Security]\nControlFrom=*");
  EXPECT_EQ(b.store.Sections(""), Names{"Settings"});
  EXPECT_EQ(b.store.Get("Security", "ControlFrom"), std::nullopt);
}

TEST(RegistryStore, SectionWithoutAName_IsRefused) {
  Bench b;
  WriteRegistryValue(b.store, "Settings", "A", "1");
  EXPECT_EQ(b.store.Set("", "A", "2").fail, Fail::kBadData);
  EXPECT_EQ(b.store.CreateSection("").fail, Fail::kBadData);
  EXPECT_EQ(b.store.Get("Settings", "A"), "1");
}

TEST(RegistryStore, Cursor_WorksOnKeysAndValues) {
  Bench b;
  cRegistry r(b.store);
  r.SectionKey = "Form";
  r.ValueKey = "FormTop";
  r.Default = "0";
  EXPECT_FALSE(r.KeyExists());
  EXPECT_TRUE(r.CreateKey());
  EXPECT_TRUE(r.KeyExists());
  EXPECT_EQ(r.Value(), "0");
  EXPECT_TRUE(r.SetValue("7"));
  EXPECT_EQ(r.Value(), "7");
  EXPECT_EQ(r.EnumerateValues(), Names{"FormTop"});
  EXPECT_TRUE(r.DeleteValue());
  EXPECT_EQ(r.Value(), "0");
  EXPECT_TRUE(r.KeyExists());
  EXPECT_TRUE(r.DeleteKey());
  EXPECT_FALSE(r.KeyExists());
}

TEST(RegistryStore, Cursor_EnumeratesTheSectionsBelow) {
  Bench b;
  for (const char* section : {"Root\\A", "Root\\B\\C", "root\\b\\D", "Other", "Rooted"}) {
    EXPECT_TRUE(b.store.CreateSection(section).ok());
  }
  cRegistry r(b.store);
  r.ClassKey = "Root";
  r.SectionKey = "B";
  EXPECT_EQ(r.EnumerateSections(), (Names{"C", "D"}));
  EXPECT_EQ(b.store.Sections("Root"), (Names{"A", "B", "b"}));
}

TEST(RegistryStore, Cursor_NamesTheKeyItCouldNotMake) {
  Bench b;
  b.files.fails = [](const std::string& call) { return StartsWith(call, "replace"); };
  cRegistry r(b.store);
  r.SectionKey = "Form";
  EXPECT_FALSE(r.CreateKey());
  EXPECT_TRUE(StartsWith(r.LastError, "Failed to create registry Key: 'Form'")) << r.LastError;
  EXPECT_TRUE(r.LastError.ends_with(".cRegistry")) << r.LastError;
  b.files.fails = nullptr;
  EXPECT_TRUE(r.CreateKey());
  EXPECT_EQ(r.LastError, "");
}

TEST(RegistryStore, FileType_IsRegisteredWithItsVerbs) {
  Bench b;
  cRegistry r(b.store);
  EXPECT_TRUE(r.CreateEXEAssociation("/bin/v", "Vantry.Log", "A log", ".vlog"));
  EXPECT_TRUE(r.CreateAdditionalEXEAssociations("Vantry.Log", {{"print", "lpr"}}));
  EXPECT_EQ(b.store.Get("Classes\\.vlog", "Class"), "Vantry.Log");
  EXPECT_EQ(b.store.Get("Classes\\Vantry.Log\\shell\\open", "command"), "/bin/v \"%1\"");
  EXPECT_EQ(b.store.Get("Classes\\Vantry.Log\\shell\\print", "command"), "lpr");
}

TEST(RegistryStore, Proxy_IsTakenFromTheSystemsSettings) {
  struct Case {
    const char* name;
    const char* registry;
    const char* variable;
    const char* host;  // Null for no proxy.
    int32_t port;
  };
  const Case cases[] = {{"nothing at all", "", "", nullptr, 0},
                        {"host and port", "ProxyEnable=1\nProxyServer=p:3128\n", "", "p", 3128},
                        {"off", "ProxyEnable=0\nProxyServer=p:3128\n", "", nullptr, 0},
                        {"off goes before the variable", "ProxyEnable=0\n", "http://v:1/", nullptr, 0},
                        {"on without a server", "ProxyEnable=1\n", "", nullptr, 0},
                        {"on with an empty server", "ProxyEnable=1\nProxyServer=\n", "", nullptr, 0},
                        {"entries by protocol", "ProxyEnable=1\nProxyServer=ftp=a:21;http=b:8080\n", "", "b", 8080},
                        {"entry in the middle", "ProxyEnable=1\nProxyServer=http=b:8080;ftp=a:21\n", "", "b", 8080},
                        {"no port", "ProxyEnable=1\nProxyServer=p\n", "", nullptr, 0},
                        {"port of letters", "ProxyEnable=1\nProxyServer=p:x\n", "", "p", 0},
                        {"variable alone", "", "http://v:3128/", "v", 3128},
                        {"variable without a scheme", "", "v:3128", "v", 3128},
                        {"variable with a user", "", "http://u:p@v:3128", "v", 3128},
                        {"variable without a port", "", "http://v/", nullptr, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Bench b;
    if (*c.registry) b.files.Put("/p/registry.ini", "[Internet Settings]\n" + std::string(c.registry));
    const auto proxy = ReadProxy(b.store, c.variable);
    ASSERT_EQ(proxy.has_value(), c.host != nullptr);
    if (proxy) {
      EXPECT_EQ(proxy->host, c.host);
      EXPECT_EQ(proxy->port, c.port);
    }
  }
}

}  // namespace
}  // namespace vantry
