// The command line as the user meets it: the real sat binary, its help screen, its
// message levels and log, and the order of the sources of a resource.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "env_capture.h"
#include "test_support.h"

namespace {

using sat_test::Capture;
using sat_test::read_file;
using sat_test::RunOptions;
using sat_test::RunResult;
using sat_test::TempDir;
using sat_test::write_file;

const std::string kHelp = R"(sat syntax (version:5.59-LINUX-X11)
   sat [options...]
Keyed options...
 -df file    Resource/defaults file name
 -na name    Program name
 -h          Print this help
 -ba         Run program in batch mode
 -me level   Message level to be displayed:
             none,print,error,warn,mess,out1,*out2,out3,out4,debug
 -fp path    File path
 -dp path    Raw data path
 -cp path    Converted data path
 -gp path    Gridded data path
 -rp path    Raw files path
 -ip path    Image file path
 -wp path    Watch file data path
 -tp path    Text file path
 -mp path    Model file path
 -sp path    Satellite file path
 -cf file    City database file name
 -mf file[,file]  Map database files
 -in type    Type of input
 -ou type    Type of output
 -nc type    Naming convention file name
 -if type    Input data file type
 -of type    Output file type
 -pf param   File parameters: use,calc,over,app
 -cu [hour]  Use current data file
 -ho hour    Actual hour of the file
 -nh hour[,step]  Number of hours to view
 -pd region or [proj],clat,clon[,nx,ny][,dx,dy]
             Output plot domain
               region=predefined region:
                  us,ne,at,se,mw,sp,nw,sw,etc
               proj=projection, clat=central latitude, clon=central longitude,
               nx,ny=number of gridpoints and dx,dy=grid spacing
 -gd region or [proj],clat,clon[,nx,ny][,dx,dy]
             Grid domain
               region=predefined region:
                  us,ne,at,se,mw,sp,nw,sw,etc
               proj=projection, clat=central latitude, clon=central longitude,
               nx,ny=number of gridpoints and dx,dy=grid spacing
 -re region or [proj],clat,clon[,nx,ny][,dx,dy]
             Region to be used for plotting and gridding
               region=predefined region:
                  us,ne,at,se,mw,sp,nw,sw,etc
               proj=projection, clat=central latitude, clon=central longitude,
               nx,ny=number of gridpoints and dx,dy=grid spacing
             us,ne,at,se,mw,sp,nw,sw,var
 -pr prior   Priority of stations used in the plot
 -pl type    Plot type: cf,lcf,ln,dln,ndln,value,none
 -sc scale   Text and wind vector scale factor
 -fm format  Numeric format
 -pp param   Plot parameters
 -dr param[,...]  Draw components: text,data,sum,map,none
 -la label   Plot labels
 -in intrvl  Contour interval
 -cb base    Color fill contour/vector base value
 -fl list    List of fonts to use
 -ct file    Color table file name
 -cot clr    Text color
 -cod clr    Data plotting color
 -com clr    line map color
 -cogr clr   grid color
 -coln clr   Lat-lon line color
 -cof clr[,...]  Fill contour colors
 -de dev[,name]  Output device: d,p,q,w,m
 -ti title   Window title
 -ic         Open window iconified
 -bg clr     Background color
 -ge wxh+x+y  Window geometry
Positional options...
 file [file...]  Input file names
Exit codes...
 0           normal end, and after help
 1           failure to detach in batch
 4           failure to open graphics
 7           loop window queue not responding
 10          no file, or no file could be read
 12          an output could not be written
)";

const std::string kHelpHead = "sat: This program plots satellite data\n";
const std::string kScreen = kHelpHead + kHelp;

// A run of the binary with no defaults file of the machine taking part.
RunResult sat(const std::vector<std::string>& args, RunOptions options = {}) {
    if (!options.env.count("zmtdefault")) options.env["zmtdefault"] = "/nonexistent/defaults";
    return sat_test::run_sat(args, options);
}

// A batch run for the current file in an empty directory: it ends in "File not found".
RunResult no_file_run(const TempDir& dir, std::vector<std::string> args) {
    for (const char* a : {"-ba", "-cu", "-fp"}) args.push_back(a);
    args.push_back(dir.path());
    RunOptions options;
    options.cwd = dir.path();
    return sat(args, options);
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// Whether the help screen shows, by message level and by the source of the level that
// spoke last: defaults list, environment, command line.
TEST(Binary, HelpScreenByLevelAndLatestSource) {
    TempDir dir;
    write_file(dir.file("quiet"), "sat.message: none\n");
    write_file(dir.file("loud"), "*message: print\n");
    const std::map<std::string, std::string> quiet{{"zmtdefault", dir.file("quiet")}},
        quiet_env{{"zmtdefault", dir.file("quiet")}, {"zmtmess", "print"}},
        loud_env{{"zmtdefault", dir.file("loud")}, {"zmtsat.message", "none"}};
    const struct {
        std::vector<std::string> args;
        std::map<std::string, std::string> env;
        bool shown;
    } cases[] = {
        {{"-h"}, {}, true},
        {{"-h", "somefile", "--", "-ba"}, {}, true},  // flags never eat the next word
        {{"-me", "none", "-h"}, {}, false},
        {{"-me=-print", "-h"}, {}, false},
        {{"--me=+debug", "-h"}, {}, true},
        {{"-me", "-print", "-h"}, {}, true},  // two switches: the level stays
        {{"-ba", "-me=-print", "-h"}, {}, false},
        {{"-h"}, quiet, false},
        {{"-h"}, quiet_env, true},
        {{"-h"}, loud_env, false},
        {{"-h", "-me=print"}, loud_env, true},
        {{"-h", "-df", dir.file("quiet")}, {}, false},  // replaces zmtdefault
        // Under another program name the qualified environment name no longer applies.
        {{"-h", "-name", "radar"}, loud_env, true},
    };
    for (const auto& c : cases) {
        std::string label;
        for (const auto& a : c.args) label += a + " ";
        for (const auto& e : c.env) label += e.first + "=" + e.second + " ";
        RunOptions options;
        options.env = c.env;
        RunResult r = sat(c.args, options);
        EXPECT_EQ(r.code, 0) << label;
        EXPECT_EQ(r.err, "") << label;
        EXPECT_EQ(r.out, c.shown ? kScreen : "") << label;
    }
}

TEST(Binary, ErrorsGoToStandardErrorUnlessSilenced) {
    TempDir dir;
    RunResult r = no_file_run(dir, {});
    EXPECT_EQ(r.code, 10);
    EXPECT_NE(r.err.find("File not found: "), std::string::npos) << r.err;
    EXPECT_EQ(r.out.find("File not found"), std::string::npos);
    r = no_file_run(dir, {"-me", "none"});
    EXPECT_EQ(r.code, 10);
    EXPECT_EQ(r.out + r.err, "");
    r = sat({"-pl", "none", "/nonexistent/x.area"});  // no window needed to fail a read
    EXPECT_EQ(r.code, 10);
    EXPECT_NE(r.err.find("SAT_read_file: Unable to open file:/nonexistent/x.area\n"),
              std::string::npos)
        << r.err;
}

TEST(Binary, PagingPausesEveryTwentyTwoLinesButNotInBatch) {
    RunOptions options;
    options.input = "\n\n\n\n";
    RunResult r = sat({"-me", "page,line:0", "-h"}, options);
    EXPECT_EQ(r.code, 0);
    std::string expected;
    int count = 0;
    for (const std::string& line : lines_of(kScreen)) {
        expected += line + "\n";
        if (++count == 23) expected += "Press return to continue\n", count = 0;
    }
    EXPECT_EQ(r.out, expected);
    EXPECT_EQ(sat({"-me", "page,line:0", "-ba", "-h"}, options).out, kScreen);
}

}  // namespace
