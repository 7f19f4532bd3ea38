// One libFuzzer program for all targets: velmora-fuzz --target=NAME [FLAGS] FOLDER…

#include "tests/fuzz/Targets.h"

#include <QCoreApplication>

#include <cstdio>
#include <string_view>

using namespace velmora::testing;

namespace {

const FuzzTarget *target = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static const QCoreApplication application(*argc, *argv);
    constexpr std::string_view option = "--target=";
    for (int index = 1; index < *argc; ++index) {
        const std::string_view word = (*argv)[index];
        for (const FuzzTarget &one : fuzzTargets()) {
            if (word.starts_with(option) && word.substr(option.size()) == one.name)
                target = &one;
        }
    }
    if (target == nullptr) {
        std::fputs("velmora-fuzz: --target=NAME is missing\n", stderr);
        return 1;
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    if (target == nullptr)
        std::abort();
    target->feed(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    return 0;
}
