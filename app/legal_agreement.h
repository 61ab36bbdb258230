#pragma once
// The agreement a person accepts once, at the first start (dlgLegal).
#include <string_view>

namespace morvane {

inline constexpr std::string_view kLegalAgreement =
    "MORVANE USE AGREEMENT\n"
    "\n"
    "Please read this agreement before you use Morvane. By selecting \"I Agree\" you accept it; if you do not "
    "accept it, Morvane will not run.\n"
    "\n"
    "1. What Morvane does. Morvane packs your files into a password-protected zip archive and enciphers that "
    "archive with its own Blowfish cipher into an \".enz\" file; it also enciphers short messages into "
    "hexadecimal text. Only someone who knows the password can read them back.\n"
    "\n"
    "2. Your password is the only key. Morvane keeps no copy of the passwords you use for files and messages "
    "and has no way to recover them. If you forget a password, the files and messages protected with it are "
    "lost for good. Keep your passwords safe, and keep copies of files you cannot afford to lose.\n"
    "\n"
    "3. What Morvane does not do. Morvane protects the content of the files it enciphers. It does not hide "
    "that an \".enz\" file exists, its size or its name, it does not protect a computer that someone else "
    "controls, and it does not wipe the original files from a disk beyond deleting them when you ask it to.\n"
    "\n"
    "4. No warranty. Morvane is provided \"as is\", without warranty of any kind, express or implied, including "
    "fitness for a particular purpose. In no event shall its authors be liable for any claim, damages or other "
    "liability arising from the use of Morvane, including the loss of data.\n"
    "\n"
    "5. Your responsibility. You are responsible for the lawful use of Morvane and for complying with the laws "
    "on encryption that apply where you use it.\n";

}  // namespace morvane
