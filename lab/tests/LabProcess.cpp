#include "lab/tests/LabProcess.h"

#include <fcntl.h>

#include <fstream>
#include <sstream>

#include "lab/drives/Waiting.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

std::string contentOf(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

} // namespace

LabProcess::LabProcess(const std::vector<std::string>& arguments, const std::string& input)
{
    std::ofstream(_folder.path() + "/input", std::ios::binary) << input;
    const Descriptor in = openFile(_folder.path() + "/input", O_RDONLY);
    const Descriptor out = openFile(_folder.path() + "/output", O_WRONLY | O_CREAT);
    const Descriptor err = openFile(_folder.path() + "/error", O_WRONLY | O_CREAT);
    std::vector<std::string> command{"env", "KRMO_BUILD=" LAB_BUILD, LAB_RUN};
    command.insert(command.end(), arguments.begin(), arguments.end());
    _process = Process({command, {in.number(), out.number(), err.number()}});
}

void LabProcess::waitForOutput(const std::string& text) const
{
    waitUntil("the program writes " + text, [this, &text] { return output().find(text) != std::string::npos; });
}

std::string LabProcess::output() const
{
    return contentOf(_folder.path() + "/output");
}

std::string LabProcess::error() const
{
    return contentOf(_folder.path() + "/error");
}

} // namespace lab
