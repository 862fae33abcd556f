#include "sim/capture.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

namespace fs = std::filesystem;
using sim::Value;
using std::string;

/** A folder that vanishes with the test. */
class Folder
{
  public:
    Folder()
    {
        string name = testing::TempDir() + "captures-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
        {
            throw sim::Error("no temporary folder");
        }
        path = name;
    }
    ~Folder()
    {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    fs::path path;
};

void write(const fs::path& file, const string& text)
{
    std::ofstream(file) << text;
}

/** One object with one interface, as busctl prints it. */
string capture(const string& properties)
{
    return R"({"type":"a{oa{sa{sv}}}","data":[{"/a":{"x.y":{)" + properties + "}}}]}";
}

struct Complaint
{
    string place;
    string reason;
    bool operator==(const Complaint&) const = default;
};

void PrintTo(const Complaint& complaint, std::ostream* out)
{
    *out << complaint.place << " | " << complaint.reason;
}

Complaint complaintAbout(const string& text)
{
    try
    {
        sim::parseCapture(text, "file.json");
    }
    catch (const sim::CaptureError& error)
    {
        EXPECT_EQ(error.file(), "file.json");
        EXPECT_TRUE(string(error.what()).starts_with("file.json: ")) << error.what();
        return {error.place(), error.reason()};
    }
    return {};
}

TEST(ParseCapture, ReadsWhatBusctlPrints)
{
    const auto objects = sim::parseCapture(
        capture(R"j("P":{"type":"s","data":"text"},"Q":{"type":"(ii)","data":[1,2]})j"), "");
    const sim::Properties expected{{"P", Value::string("text")}, {"Q", {"(ii)", {1, 2}}}};
    EXPECT_EQ(objects, (sim::Objects{{"/a", {{"x.y", expected}}}}));
}

TEST(ParseCapture, ReadsDictionariesAsFlatLists)
{
    const auto objects = sim::parseCapture(
        R"({"type":"a{oa{sa{sv}}}","data":[["/a",["x.y",["P",{"type":"y","data":1}],"x.z",[]],"/b",[]]]})",
        "");
    const sim::Interfaces first{{"x.y", {{"P", Value::byte(1)}}}, {"x.z", {}}};
    EXPECT_EQ(objects, (sim::Objects{{"/a", first}, {"/b", {}}}));
}

TEST(ParseCapture, ReadsACaptureWithoutObjects)
{
    EXPECT_TRUE(sim::parseCapture(R"({"type":"a{oa{sa{sv}}}","data":[{}]})", "").empty());
}

TEST(ParseCapture, NamesLineAndColumnOfBrokenJson)
{
    EXPECT_EQ(complaintAbout("{\n \"type\": ,\n}").place, "line 2, column 10");
    EXPECT_EQ(complaintAbout("").place, "line 1, column 1");
    EXPECT_EQ(complaintAbout("{\"type\":\"\xff\"}").place, "line 1, column 10");
    EXPECT_NE(complaintAbout("{\"a\" 1}").reason.find("expected ':'"), string::npos);
    EXPECT_NE(complaintAbout(R"({"type":1e999})").reason.find("number overflow"), string::npos);
    const string whole = capture("");
    EXPECT_EQ(complaintAbout(whole + "x").place,
              "line 1, column " + std::to_string(whole.size() + 1));
}

TEST(ParseCapture, RefusesAnotherDocument)
{
    EXPECT_EQ(complaintAbout("[]"), (Complaint{"", "expected {\"type\", \"data\"}, found array"}));
    const string wanted = "expected \"a{oa{sa{sv}}}\", the type of a GetManagedObjects reply";
    EXPECT_EQ(complaintAbout(R"({"data":[{}]})"), (Complaint{"type", wanted}));
    EXPECT_EQ(complaintAbout(R"({"type":"a{sv}","data":[{}]})"), (Complaint{"type", wanted}));
    const Complaint noList{"data", "expected a list of one dictionary"};
    EXPECT_EQ(complaintAbout(R"({"type":"a{oa{sa{sv}}}"})"), noList);
    EXPECT_EQ(complaintAbout(R"({"type":"a{oa{sa{sv}}}","data":{}})"), noList);
    EXPECT_EQ(complaintAbout(R"({"type":"a{oa{sa{sv}}}","data":[{},{}]})"), noList);
}

TEST(ParseCapture, NamesThePlaceOfAValueThatDoesNotFit)
{
    const string property = R"(data[0]["/a"]["x.y"]["P"])";
    EXPECT_EQ(complaintAbout(capture(R"("P":{"type":"q","data":65536})")),
              (Complaint{property + "[\"data\"]", "65536 is out of range for type 'q'"}));
    EXPECT_EQ(complaintAbout(capture(R"("P":{"type":"q"})")),
              (Complaint{property, "field \"data\" is missing"}));
    EXPECT_EQ(complaintAbout(capture(R"("P":{"data":1})")),
              (Complaint{property, "field \"type\" is missing"}));
    EXPECT_EQ(complaintAbout(capture(R"("P":{"type":"k","data":1})")),
              (Complaint{property + "[\"type\"]", "'k' is not one complete type"}));
    EXPECT_EQ(complaintAbout(capture(R"("P":5)")),
              (Complaint{property, "expected {\"type\", \"data\"}, found number"}));
    EXPECT_EQ(complaintAbout(capture(R"("P":{"type":"s","data":5})")),
              (Complaint{property + "[\"data\"]", "expected a text for type 's', found number"}));
}

TEST(ParseCapture, RefusesNamesThatTheBusDoesNotKnow)
{
    EXPECT_EQ(complaintAbout(R"({"type":"a{oa{sa{sv}}}","data":[{"a":{}}]})"),
              (Complaint{R"(data[0]["a"])", "'a' is not an object path"}));
    EXPECT_EQ(complaintAbout(R"({"type":"a{oa{sa{sv}}}","data":[{"/a":{"x":{}}}]})"),
              (Complaint{R"(data[0]["/a"]["x"])", "'x' is not an interface name"}));
    EXPECT_EQ(complaintAbout(capture(R"("a b":{"type":"y","data":1})")),
              (Complaint{R"(data[0]["/a"]["x.y"]["a b"])", "'a b' is not a property name"}));
}

TEST(ParseCapture, RefusesRepeatedKeysInBothForms)
{
    EXPECT_EQ(complaintAbout(capture(R"("P":{"type":"y","data":1},"P":{"type":"y","data":2})")),
              (Complaint{R"(data["/a"]["x.y"]["P"])", "this key stands twice"}));
    EXPECT_EQ(complaintAbout(R"({"type":"a{oa{sa{sv}}}","data":[["/a",[],"/a",[]]]})"),
              (Complaint{R"(data[0]["/a"])", "this key stands twice"}));
}

TEST(ParseCapture, RefusesEndlessNesting)
{
    string deep = "{\"type\":\"s\",\"data\":\"\"}";
    for (int i = 0; i < 2000; ++i)
    {
        deep = "{\"type\":\"v\",\"data\":" + deep + "}";
    }
    EXPECT_EQ(complaintAbout(capture("\"P\":" + deep)).reason, "nested too deeply");
    EXPECT_NE(complaintAbout(string(200'000, '[')).place, "");
}

TEST(ReadCapture, NamesAFileThatCannotBeRead)
{
    const Folder folder;
    try
    {
        sim::readCapture(folder.path / "none.json");
        FAIL();
    }
    catch (const sim::CaptureError& error)
    {
        EXPECT_EQ(error.file(), (folder.path / "none.json").string());
        EXPECT_EQ(error.reason(), "cannot be read: No such file or directory");
    }
    EXPECT_THROW(sim::readCapture(folder.path), sim::CaptureError);
}

TEST(ReadInventory, NeedsAllThreeFiles)
{
    const Folder folder;
    sim::writeInventory(folder.path, sim::makeInventory(1));
    EXPECT_NO_THROW(sim::readInventory(folder.path));
    fs::remove(folder.path / sim::names::chassisFile);
    EXPECT_THROW(sim::readInventory(folder.path), sim::CaptureError);
}

TEST(ReadInventory, RefusesAnObjectInBothPlatformFiles)
{
    const Folder folder;
    sim::writeInventory(folder.path, sim::makeInventory(1));
    fs::copy_file(folder.path / sim::names::boardFile, folder.path / sim::names::chassisFile,
                  fs::copy_options::overwrite_existing);
    EXPECT_THROW(sim::readInventory(folder.path), sim::CaptureError);
}

TEST(WriteInventory, IsReadBackTheSame)
{
    const Folder folder;
    auto inventory = sim::makeInventory(3, 2);
    inventory.smbios.begin()->second["x.y"] = {{"Odd", {"a{us}", {7, "x"}}},
                                               {"Text", Value::string("quote \" line\n \u00e9")},
                                               {"Real", Value::real(0.1)}};
    sim::writeInventory(folder.path / "new", inventory);
    const auto back = sim::readInventory(folder.path / "new");
    EXPECT_EQ(back.smbios, inventory.smbios);
    EXPECT_EQ(back.kovd, inventory.kovd);
}

TEST(WriteInventory, SaysWhichFolderCannotBeWritten)
{
    const Folder folder;
    write(folder.path / "file", "");
    EXPECT_THROW(sim::writeInventory(folder.path / "file" / "sub", {}), sim::Error);
}

TEST(FormatCapture, WritesOneLineForPrograms)
{
    const sim::Objects objects{{"/a", {{"x.y", {{"P", Value::byte(1)}, {"Q", Value::byte(2)}}}}},
                               {"/b", {}}};
    EXPECT_EQ(sim::formatCapture(objects),
              R"({"type":"a{oa{sa{sv}}}","data":[{"/a":{"x.y":{"P":{"type":"y","data":1},)"
              R"("Q":{"type":"y","data":2}}},"/b":{}}]})"
              "\n");
}

TEST(FormatCapture, WritesOnePropertyALineForPeople)
{
    const sim::Objects objects{{"/a", {{"x.y", {{"P", Value::byte(1)}, {"Q", Value::byte(2)}}}}}};
    EXPECT_EQ(sim::formatCaptureForPeople(objects), R"({"type": "a{oa{sa{sv}}}", "data": [{
  "/a": {
    "x.y": {
      "P": {"type": "y", "data": 1},
      "Q": {"type": "y", "data": 2}}}
}]}
)");
}

TEST(FormatCapture, LeavesOutWhatIsNotBelowTheRoot)
{
    const sim::Objects objects{{"/a", {}}, {"/a/b", {}}, {"/ab", {}}};
    EXPECT_EQ(sim::parseCapture(sim::formatCapture(objects, "/a"), ""),
              (sim::Objects{{"/a/b", {}}}));
}

TEST(InterfacesJson, GoesBothWays)
{
    const sim::Interfaces interfaces{{"x.y", {{"P", Value::byte(1)}}}, {"x.z", {}}};
    EXPECT_EQ(sim::interfacesFromJson(sim::interfacesToJson(interfaces)), interfaces);
    EXPECT_THROW(sim::interfacesFromJson(sim::Json::parse(R"({"x":{}})")), sim::ValueError);
    EXPECT_THROW(sim::interfacesFromJson(5), sim::ValueError);
}

} // namespace
