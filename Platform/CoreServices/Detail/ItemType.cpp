#include "Platform/CoreServices/Detail/ItemType.h"

#include <sys/stat.h>

#include "Platform/CoreServices/UTType.h"

namespace orv::detail {
namespace {

NSString typeForExtension(const NSString& extension, const char* parent) {
  return UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, extension,
                                               parent ? NSString(parent) : NSString());
}

NSString typeOfFolder(const NSString& extension) {
  if (extension.length() == 0) return kUTTypeFolder;
  const NSString type = typeForExtension(extension, "public.directory");
  return type.hasPrefix("dyn.") ? kUTTypeFolder : type;
}

NSString typeOfFile(const NSString& extension, mode_t mode) {
  if (extension.length() == 0) return mode & 0111 ? NSString("public.unix-executable") : kUTTypeData;
  const NSString type = typeForExtension(extension, nullptr);
  return UTTypeConformsTo(type, "public.directory") ? typeForExtension(extension, "public.data") : type;
}

}  // namespace

NSString typeOfItem(const NSString& name, mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG: return typeOfFile(name.pathExtension(), mode);
    case S_IFDIR: return typeOfFolder(name.pathExtension());
    case S_IFLNK: return "public.symlink";
    case S_IFIFO: return "public.named-pipe";
    case S_IFSOCK: return "public.socket";
    case S_IFCHR: return "public.character-special";
    case S_IFBLK: return "public.block-special";
    default: return "public.item";
  }
}

}  // namespace orv::detail
