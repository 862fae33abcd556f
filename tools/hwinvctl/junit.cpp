#include "junit.hpp"

#include "inspect/words.hpp"

namespace hwinvctl
{
namespace
{

std::string attribute(const std::string& name, const std::string& value)
{
    return " " + name + "=\"" + inspect::escapeMarkup(value) + "\"";
}

std::string caseOf(const inspect::Report& report, const inspect::Finding& finding)
{
    return "    <testcase" + attribute("classname", report.folder) +
           attribute("name", finding.code + " " + finding.path) + ">\n      <failure" +
           attribute("type", finding.code) + attribute("message", finding.sentence) + ">" +
           inspect::escapeMarkup(finding.change) + "</failure>\n    </testcase>\n";
}

std::string casesOf(const inspect::Report& report)
{
    const std::string whole =
        "    <testcase" + attribute("classname", report.folder) + attribute("name", "inventory");
    if (!report.error.empty())
    {
        return whole + ">\n      <error" + attribute("message", report.error) +
               "/>\n    </testcase>\n";
    }
    if (report.findings.empty())
    {
        return whole + "/>\n";
    }
    std::string cases;
    for (const inspect::Finding& finding : report.findings)
    {
        cases += caseOf(report, finding);
    }
    return cases;
}

} // namespace

std::string formatJunit(const std::vector<inspect::Report>& reports)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
    for (const inspect::Report& report : reports)
    {
        const std::size_t failures = report.findings.size();
        text += "  <testsuite" + attribute("name", report.folder) +
                attribute("tests", std::to_string(failures == 0 ? 1 : failures)) +
                attribute("failures", std::to_string(failures)) +
                attribute("errors", report.error.empty() ? "0" : "1") + ">\n" + casesOf(report) +
                "  </testsuite>\n";
    }
    return text + "</testsuites>\n";
}

} // namespace hwinvctl
