#pragma once
// The encrypted archive (".enz"): a password-protected zip of the files,
// enciphered whole by the file cipher. Files are packed into a temporary zip
// beside their archive, the zip is enciphered, and the temporary zip is
// deleted; opening deciphers into a temporary zip and extracts it.
//
// The zip's own password is derived from the user's password P (trimmed):
// toggleHighBits(P) + toggleHighBits(K), K a built-in text of 18 characters.
// The cipher key is P itself.
#include <string>
#include <string_view>
#include <vector>

#include "clsBlowfish.h"
#include "text_trim.h"
#include "zip_component.h"

namespace morvane {

// Every packing call passes this option: deflate at level 4.
inline constexpr const char* kPackOptions = "-4";
// The zip component's mode before every job.
inline constexpr int kJobZipMode = 3;

// A path cut after its last separator: dir keeps the separator (or is empty).
struct SplitPath {
    std::string dir;
    std::string name;
};
SplitPath splitAtLastSeparator(std::string_view path);

// The zip password of an archive made with `password` (trimmed here). Throws
// RunTimeError when the password begins with the character of code 128,
// which the toggle cannot turn.
std::string zipPassword(std::string_view password);

// The file specification of one file: its name between double quotes.
std::string quotedName(std::string_view name);

// "~enc~{name}.zip": the per-file temporary zip, in the source's directory.
// The temporary names here are cut short, the same way each time, where they
// would pass the file systems' 255-byte limit.
std::string perFileTempZipName(std::string_view name);

// {adir}~enc~{aname}.zip: the temporary zip of a combined archive.
std::string combinedTempZipPath(std::string_view archivePath);

// {outdir}~dec~{ename}.zip, joined as they stand: beside the archive outdir
// ends with a separator; an output directory written without one puts the
// temporary zip in its parent, under a name that starts with the directory's
// own. Kept so, for the temporary names people and scripts already know.
std::string decryptTempZipPath(std::string_view outdir, std::string_view archivePath);

enum class ContainerResult { Done, PackFailed, EncipherFailed, DecipherFailed, ExtractFailed };

// Packs `files` into one archive at `archivePath` (its temporary zip is
// deleted before and after), enciphers it with P.
ContainerResult makeCombinedArchive(ZipComponent& zip, clsBlowfish& cipher, const std::string& archivePath,
                                    const std::vector<std::string>& files, std::string_view password);

// Packs one file into "{path}.enz" beside it.
ContainerResult makePerFileArchive(ZipComponent& zip, clsBlowfish& cipher, const std::string& path,
                                   std::string_view password);

// Deciphers `archivePath` into its temporary zip and extracts every member
// into `outdir` (keepExisting: "-n"); the temporary zip is deleted.
ContainerResult openArchive(ZipComponent& zip, clsBlowfish& cipher, const std::string& archivePath,
                            const std::string& outdir, bool keepExisting, std::string_view password);

}  // namespace morvane
