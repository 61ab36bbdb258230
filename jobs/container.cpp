#include "container.h"

#include "decipher_and_extract.h"
#include "modCrypt.h"
#include "platform_utilities.h"
#include "program_directory.h"
#include "safe_file.h"

namespace morvane {
namespace {

// K, kept scrambled in the program and built when it is needed.
constexpr std::string_view kScrambledZipConstant =
    "\xB4\xB8\xCD\xF6\xA1\xFA\xD1\xB7\xA3\xF0\xCC\xB2\xC0\xEB\xD2\xB9\xA4\xF7\xD8\xE5\xB1";

bool isSeparator(char c) {
#ifdef _WIN32
    return c == '\\' || c == '/';
#else
    return c == kPathSeparator;
#endif
}

}  // namespace

SplitPath splitAtLastSeparator(std::string_view path) {
    for (std::size_t i = path.size(); i > 0; --i)
        if (isSeparator(path[i - 1])) return {std::string(path.substr(0, i)), std::string(path.substr(i))};
    return {std::string(), std::string(path)};
}

std::string zipPassword(std::string_view password) {
    return toggleHighBits(trimBlanks(password)) + toggleHighBits(scrambleText(kScrambledZipConstant));
}

std::string quotedName(std::string_view name) { return "\"" + std::string(name) + "\""; }

std::string perFileTempZipName(std::string_view name) { return fittedFileName("~enc~" + std::string(name) + ".zip"); }

std::string combinedTempZipPath(std::string_view archivePath) {
    const SplitPath split = splitAtLastSeparator(archivePath);
    return split.dir + perFileTempZipName(split.name);
}

std::string decryptTempZipPath(std::string_view outdir, std::string_view archivePath) {
    const SplitPath joined = splitAtLastSeparator(std::string(outdir) + "~dec~" +
                                                  trimBlanks(splitAtLastSeparator(archivePath).name) + ".zip");
    return joined.dir + fittedFileName(joined.name);
}

ContainerResult makeCombinedArchive(ZipComponent& zip, clsBlowfish& cipher, const std::string& archivePath,
                                    const std::vector<std::string>& files, std::string_view password) {
    const std::string key = trimBlanks(password);
    zip.SetZipPassword(zipPassword(key));
    zip.ZipMode(kJobZipMode);
    const SplitPath archive = splitAtLastSeparator(archivePath);
    const std::string tempZip = combinedTempZipPath(archivePath);
    deleteFile(tempZip);
    for (const std::string& file : files) {
        const SplitPath source = splitAtLastSeparator(file);
        if (!zip.ZipFiles(source.dir, quotedName(source.name), archive.dir, perFileTempZipName(archive.name),
                          kPackOptions)) {
            // What was packed stays in the temporary zip until the next run.
            zip.CommitArchive();
            return ContainerResult::PackFailed;
        }
    }
    if (!zip.CommitArchive()) return ContainerResult::PackFailed;
    const bool enciphered = cipher.EncryptFile(tempZip, archivePath, key);
    deleteFile(tempZip);
    return enciphered ? ContainerResult::Done : ContainerResult::EncipherFailed;
}

ContainerResult makePerFileArchive(ZipComponent& zip, clsBlowfish& cipher, const std::string& path,
                                   std::string_view password) {
    const std::string key = trimBlanks(password);
    zip.SetZipPassword(zipPassword(key));
    zip.ZipMode(kJobZipMode);
    const SplitPath source = splitAtLastSeparator(path);
    const std::string tempZipName = perFileTempZipName(source.name);
    if (!zip.ZipFiles(source.dir, quotedName(source.name), source.dir, tempZipName, kPackOptions) ||
        !zip.CommitArchive())
        return ContainerResult::PackFailed;
    const bool enciphered = cipher.EncryptFile(source.dir + tempZipName, path + ".enz", key);
    deleteFile(source.dir + tempZipName);
    return enciphered ? ContainerResult::Done : ContainerResult::EncipherFailed;
}

ContainerResult openArchive(ZipComponent& zip, clsBlowfish& cipher, const std::string& archivePath,
                            const std::string& outdir, bool keepExisting, std::string_view password) {
    const std::string key = trimBlanks(password);
    zip.SetUnzipPassword(zipPassword(key));
    zip.ZipMode(kJobZipMode);
    const std::string tempZip = decryptTempZipPath(outdir, archivePath);
    deleteFile(tempZip);
    cipher.flushOutput = false;  // read once and deleted
    const OpenedArchive opened =
        decipherAndExtract(cipher, zip, archivePath, tempZip, key, outdir, keepExisting ? "-n" : "");
    cipher.flushOutput = true;
    deleteFile(tempZip);
    if (!opened.deciphered) return ContainerResult::DecipherFailed;
    return opened.extracted ? ContainerResult::Done : ContainerResult::ExtractFailed;
}

}  // namespace morvane
