#include "sampletool/tool.h"

#include "sampletool/commandline.h"
#include "sampletool/configurations.h"
#include "sampletool/console.h"
#include "sampletool/conversion.h"
#include "sampletool/conversionrun.h"

#include <csignal>
#include <cstdlib>
#include <exception>

namespace sample {
namespace {

const char *const versionText = "vond-sample 1.0.0";

const char *const helpText =
    R"(vond-sample converts the colours of pictures. It is a stand-in for trying out the service.

  vond-sample version
  vond-sample --help
  vond-sample listconfigurations
  vond-sample listconfigurations --format=json [--name=NAME] [--details=DETAIL,...]
  vond-sample [OPTION...] -c NAME [setoption KEY VALUE...] INPUT -o OUTPUT [-o OUTPUT...]...

Options, in any order:
  -c NAME                       the configuration to convert with
  -o OUTPUT                     where the input before it is written to; may be repeated
  --progress                    print "Progress: N%" while working
  --stopfile=FILE               give up as soon as FILE exists
  --translateerror              explain a failure on standard output, too
  --overwriteoutput=increment   number the output rather than overwrite a file

Keys of setoption (the list ends at the first word that does not begin with "--"):
  --profile FILE                convert to this ICC profile instead of the configuration's own
  --intent INTENT               perceptual, relative (the default), saturation or absolute
  --quality N                   of JPEG files, 1 to 100 (90)

Details: DocumentColorSpace, DstProfile, PSLayersOption.

Reads TIFF, JPEG and PNG: RGB, CMYK or gray, 8 or 16 bits per channel, the first page. A picture
without a profile is taken as sRGB, or as the built-in CMYK. The output's suffix says what is
written: .tif, .tiff, .jpg, .jpeg or .png. Without a suffix it is TIFF. PNG cannot hold CMYK: with
--overwriteoutput=increment it becomes .tif, otherwise it is refused.)";

// One case per outcome of the parser.
class Runner
{
public:
    int operator()(const UsageError &error) const
    {
        Console().print("Usage: " + error.text + ". See vond-sample --help.");
        Console().error("usage: " + error.text);
        return EXIT_FAILURE;
    }

    int operator()(const Command &command) const
    {
        return std::visit(*this, command);
    }

    int operator()(const ShowHelp &) const
    {
        Console().print(helpText);
        return EXIT_SUCCESS;
    }

    int operator()(const ShowVersion &) const
    {
        Console().print(std::string(versionText) + " (libvips " + imagingVersion() + ')');
        return EXIT_SUCCESS;
    }

    int operator()(const ListConfigurations &list) const
    {
        const auto text = listing(list);
        if (const auto *const failure = std::get_if<Failure>(&text)) {
            Console().print(failure->text);
            Console().error(failure->text);
            return EXIT_FAILURE;
        }
        Console().print(std::get<std::string>(text));
        return EXIT_SUCCESS;
    }

    int operator()(const Convert &convert) const
    {
        return ConversionRun(convert).run() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
};

} // namespace

int run(const std::vector<std::string> &words)
{
    // Handled as failed writes instead, with clean-up.
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)std::signal(SIGXFSZ, SIG_IGN);

    try {
        return std::visit(Runner(), parse(words));
    } catch (const std::exception &exception) { // no memory, no thread
        Console().print("The tool cannot work here.");
        Console().error(exception.what());
        return EXIT_FAILURE;
    }
}

} // namespace sample
