// Breakpoints as the IDE handles them: set and cleared through the session's
// slots against the stand-in, kept in the workspace's profile and replayed
// to the next debugger. The real debugger honouring them: test_sessions.
#include <algorithm>

#include "fixture.hpp"

// A profile section's entries, each followed by "|".
static std::string section(const std::string& file, const std::string& name) {
  char buffer[4096] = "";
  DWORD n = GetPrivateProfileSectionA(name.c_str(), buffer, sizeof buffer, file.c_str());
  std::replace(buffer, buffer + n, '\0', '|');
  return std::string(buffer, n);
}

class Breakpoints : public Plugin {
 protected:
  int set(std::string f, int line) { return hostCallFileLine(session(), HS_BREAK_SET, f.c_str(), line); }
  int clear(std::string f, int n) { return hostCallFileLine(session(), HS_BREAK_CLEAR, f.c_str(), n); }
  int is(std::string f, int line, unsigned char* enabled = nullptr) {
    return hostCallIsBreakpoint(session(), f.c_str(), line, enabled);
  }
  std::string stored() { return section(wsIni, "Breakpoints-" + workspace); }
};

TEST_F(Breakpoints, StoredSetClearedAndSaved) {
  // As edited by hand. Unmarked: present but disabled. Extra separators stay
  // in the file name. No "=" or fewer than two separators: skipped.
  std::ofstream(wsIni) << "[Breakpoints-" << workspace << "]\n0=C:\\x.lua##5##\nC:\\noequals.lua##1##1\n"
                       << "1=C:\\one##sep.lua\n3=C:\\y##z.lua##6##1\n";
  ASSERT_EQ(1, startFake(serve));
  sync("got listw\n");
  unsigned char enabled = 1;
  EXPECT_EQ(1, is("C:\\x.lua", 5, &enabled));
  EXPECT_EQ(0, enabled);
  EXPECT_EQ(1, is("C:\\y##z.lua", 6, &enabled));
  EXPECT_EQ(1, enabled);
  EXPECT_EQ(0, is("C:\\noequals.lua", 1));
  std::string text = output();
  EXPECT_LT(text.find("got setb 5 x.lua\n"), text.find("got setb 6 y##z.lua\n")) << text;
  EXPECT_EQ(2u, count(text, "setb")) << "these two only, without echo";

  // One breakpoint however often and however spelt; Find ignores case.
  int from = hostEventCount();
  EXPECT_EQ(1, set("C:\\work\\demo.lua", 12));
  EXPECT_EQ(1, set("c:/WORK/Demo.lua", 12));
  sync("got listw\n");
  EXPECT_EQ(1u, count(output(from), "got setb 12 demo.lua\n")) << output(from);
  EXPECT_EQ(2u, count(output(from), "setb 12 demo.lua\n")) << "one echo";
  const std::string three = "0=C:\\x.lua##5##|1=C:\\y##z.lua##6##1|2=C:\\work\\demo.lua##12##1|";
  EXPECT_EQ(three, stored());
  EXPECT_EQ(1, is("C:\\WORK\\DEMO.LUA", 12, &enabled));
  EXPECT_EQ(1, enabled);
  EXPECT_EQ(0, is("C:\\work\\demo.lua", 13, &enabled));
  EXPECT_EQ(0, enabled);

  // The warning about the blank goes out with the command, as one text.
  from = hostEventCount();
  EXPECT_EQ(1, set("C:\\my work\\a b.lua", 3));
  EXPECT_STREQ("setb 3 a b.lua\nFile names can not contain whitespace.\n"
               "This version of the Lua debugger does not support long file names.\n",
               hostEvent(from).text);
  sync("got listw\n");
  from = hostEventCount();
  EXPECT_EQ(0, clear("C:\\work\\demo.lua", 99));
  EXPECT_EQ(from, hostEventCount()) << "nothing sent";
  EXPECT_EQ(1, clear("C:\\my work\\a b.lua", 3));
  EXPECT_STREQ("delb 3 a b.lua\n", hostEvent(from).text);
  EXPECT_EQ(three, stored());

  // Saving and stopping each write the list over an outside edit; written by
  // slot to another section, too.
  EXPECT_EQ(1, clear("C:\\y##z.lua", 6));
  const std::string rest = "0=C:\\x.lua##5##|1=C:\\work\\demo.lua##12##1|";
  EXPECT_EQ(rest, stored());
  const std::string other = workspace + "-other";
  EXPECT_EQ(1, hostCallTextByte(session(), HS_WRITE_BREAKPOINTS, other.c_str(), 0));
  auto edit = [&] {
    WritePrivateProfileStringA(("Breakpoints-" + workspace).c_str(), "7", "C:\\x##7##1", wsIni.c_str());
  };
  edit();
  EXPECT_EQ(1, hostCall(session(), HS_SAVE_BREAKPOINTS));
  EXPECT_EQ(rest, stored());
  edit();
  stop();
  EXPECT_EQ(rest, stored()) << "saved before the list is emptied";

  ASSERT_EQ(1, startFake(serve));
  EXPECT_EQ(1, hostCall(session(), HS_BREAK_ALL));
  EXPECT_EQ("", stored());
  EXPECT_EQ(0, is("C:\\work\\demo.lua", 12));
  // Loaded back from the other section: replayed without echo.
  sync("got listw\n");
  from = hostEventCount();
  EXPECT_EQ(1, hostCallText(session(), HS_LOAD_BREAKPOINTS, other.c_str()));
  EXPECT_EQ(1, is("C:\\work\\demo.lua", 12));
  sync("got listw\n");
  EXPECT_EQ(2u, count(output(from), "setb")) << output(from);
  DeleteFileA((tarn() + other + ".ini").c_str());
  stop();

  // Without a workspace, the default profile. Other tests' sessions use its
  // section too: hold entries there briefly.
  const std::string shared = tarn() + "Default Settings.ini";
  const char* entries = "Breakpoints-<default settings>";
  WritePrivateProfileStringA(entries, nullptr, nullptr, shared.c_str());
  workspace = "<default settings>";
  ASSERT_EQ(1, startFake(serve));
  set("C:\\d.lua", 4), set("C:\\e.lua", 5);
  EXPECT_EQ("0=C:\\d.lua##4##1|1=C:\\e.lua##5##1|", section(shared, entries));
  hostCall(session(), HS_BREAK_ALL);
}
