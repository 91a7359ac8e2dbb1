#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Quelto::Lumindra::Test {

// Feeds untrusted bytes through the paths of the editor that read them and checks what each path
// promises about bad input: an image opened through the core factory, its metadata, the saved list
// of written-out cores, a core's session state, and one edit's stored settings. The fuzzing
// programs and the tests that replay their inputs share it, so that a found input is replayed
// through the very same calls.
//
// A crash, a leak or undefined behaviour is the sanitizers' to report; a broken promise (an
// exception of a kind the path does not throw, a refusal that does not name the file, a core
// that never becomes idle, settings that do not survive being written back) comes back as a
// violation. One input at a time, on one thread; Init first.
class FuzzHarness {
public:
    enum class Target { OpenImage, Metadata, CacheList, SessionRestore, SettingsCodec };

    struct Outcome {
        bool accepted = false; // read and usable; otherwise refused
        std::string error;     // the refusal as a person reads it (empty when accepted)
        std::string violation; // non-empty when a promise was broken: which one, and how
    };

    // Makes the process's temporary folder, settings store and work folder; quiets the log.
    // Call once before any input, before anything else asks for the temporary folder.
    static void Init();

    static Outcome Run(Target target, const std::uint8_t* data, std::size_t size);

    static std::vector<Target> AllTargets();
    // The name of the target's corpus folders and program ("open_image", ...).
    static std::string NameOf(Target target);
};

} // namespace Quelto::Lumindra::Test
