// The HTML writer where a run of the program does not take it: other heading levels, nested tables, a disk
// that is full.
#include "common/html.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

static std::string content(const char* path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

class Html : public testing::Test {
 protected:
  void SetUp() override {
    char folder[] = "/tmp/html_testXXXXXX";
    scratch = mkdtemp(folder);
    std::filesystem::current_path(scratch);
  }
  void TearDown() override { std::filesystem::remove_all(scratch); }
  std::string scratch;
};

TEST_F(Html, TablesNestAndRowsStayOpen) {
  HTML_open("x.html", nullptr, "", nullptr);
  HTML_startTable(2);
  HTML_cell("%s", "100%d");
  HTML_cell("b");
  HTML_startTable(1);
  HTML_cell("inner");
  HTML_cell("next");
  HTML_endTable();
  HTML_print("still b");
  HTML_cell("c");
  HTML_endTable();
  HTML_close();
  EXPECT_EQ(content("x.html"),
            "<HTML>\n<HEAD>\n</HEAD>\n<BODY>\n<table class=\"\">\n<tr><td>100%d</td><td>b<table class=\"\">\n"
            "<tr><td>inner</td></tr>\n<tr><td>next</td></table>\nstill b</td></tr>\n<tr><td>c</td></table>\n"
            "</BODY>\n</HTML>\n");
}

TEST_F(Html, OnlyHeadingsDownToTheDepthEnterTheContents) {
  HTML_open((scratch + "/h.html").c_str(), nullptr, "", nullptr);
  HTML_useTOC(2);
  HTML_heading(3, "deep");
  HTML_heading(1, "top");
  HTML_useTOC(3);
  HTML_heading(3, "now");
  HTML_close();
  EXPECT_EQ(content("toc_h.html"),
            "<!-- labelCnt:  2: -->\n<i>Table of Contents</i><br>\n"
            "  <a class=\"\" HREF=\"main_h.html#0\"target=\"main\">top</A><br>\n"
            " &nbsp&nbsp <a class=\"\" HREF=\"main_h.html#1\"target=\"main\">now</A><br>\n");
  EXPECT_EQ(content("main_h.html"),
            "<HTML>\n<HEAD>\n</HEAD>\n<BODY>\n<h3 class=\"\">deep</h3>\n<a name=\"0\"><h1 class=\"\">top</h1>\n"
            "<a name=\"1\"><h3 class=\"\">now</h3>\n</BODY>\n</HTML>\n");
}

// The text is still in the writer's buffer when the run ends: the question itself must find the loss.
TEST_F(Html, UnfinishedReportOnAFullDiskIsReported) {
  const char* path = nullptr;
  int error = 0;
  EXPECT_FALSE(HTML_lost(&path, &error));
  std::filesystem::create_symlink("/dev/full", "main_f.html");
  HTML_open("f.html", nullptr, "", nullptr);
  HTML_useTOC(2);
  HTML_print("lost");
  ASSERT_TRUE(HTML_lost(&path, &error));
  EXPECT_STREQ(path, "main_f.html");
  EXPECT_EQ(error, ENOSPC);
}
