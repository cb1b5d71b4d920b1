#include "network/subject.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

struct SubjectCase {
  const char *name, *text, *host;
  int site;
};

constexpr SubjectCase kSubjectCases[] = {
    {"an address alone", "10.0.0.7", "10.0.0.7", 0},
    {"an address and a site", "10.0.0.7:3", "10.0.0.7", 3},
    {"a name", "www.example.com", "www.example.com", 0},
    {"a name and a site", "www.example.com:12", "www.example.com", 12},
    {"IPv6 alone", "2001:db8::7", "2001:db8::7", 0},
    {"IPv6 in brackets", "[2001:db8::7]", "2001:db8::7", 0},
    {"IPv6 and a site", "[2001:db8::7]:3", "2001:db8::7", 3},
    {"a bracket that stays open", "[2001:db8::7", "[2001:db8::7", 0},
    {"blanks around", "  10.0.0.7  ", "10.0.0.7", 0},
    {"no number", "10.0.0.7:x", "10.0.0.7", 0},
    {"a number beyond all sites", "10.0.0.7:99999", "10.0.0.7", 32767},
    {"nothing", "", "", 0},
    {"a colon alone", ":", "", 0},
};

TEST(ReadSubject, WhatStandsBeforeTheColonIsTheHost) {
  for (const SubjectCase& c : kSubjectCases) {
    const Subject subject = ReadSubject(c.text);
    EXPECT_EQ(subject.host, c.host) << c.name;
    EXPECT_EQ(subject.site, c.site) << c.name;
  }
}

TEST(SubjectText, IsReadAgainAsItWas) {
  for (const char* address : {"10.0.0.7", "2001:db8::7", "::1", "host.example"}) {
    const Subject subject = ReadSubject(SubjectText(address, 5));
    EXPECT_EQ(subject.host, address);
    EXPECT_EQ(subject.site, 5);
  }
}

}  // namespace
}  // namespace vantry
