#pragma once

#include "support/Error.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace moritane {

/// Tells the camera extension that something in the shared directory changed, since the
/// application never says so. Main thread only; the handler runs on the main thread.
class DirectoryWatcher {
public:
    struct Change {
        enum class Place {
            /// `name` in the directory itself.
            directory,
            /// `name` in its images folder.
            imagesFolder,
            /// The directory was removed or moved away: nothing more comes from this watch.
            directoryGone,
            /// Changes were lost: anything may have changed.
            unknown,
        };
        Place place = Place::unknown;
        std::string name;

        friend bool operator==(const Change&, const Change&) = default;
    };
    using Handler = std::function<void(const Change&)>;

    virtual ~DirectoryWatcher() = default;

    /// Follows the files of `directory` and of its images folder, also when the folder is made
    /// later: files made, removed, written or renamed into place. Ends any earlier watch. An
    /// error when the directory cannot be followed, for example because it does not exist.
    virtual std::optional<Error> watch(const std::filesystem::path& directory, Handler handler) = 0;

    /// Ends the watch, if any.
    virtual void cancel() = 0;
};

}  // namespace moritane
