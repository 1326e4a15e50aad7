// kp160std — the clipboard on X11 (see clipboard.h): the CLIPBOARD selection.
//
// Reading opens a connection for the call, asks the owner for TARGETS, then
// for the best text target, and takes large answers in pieces (INCR). Every
// step waits at most the time-out for the owner: an owner that never answers
// or dies mid-transfer costs one time-out, never a hang. Writing is the owner
// thread's (clipboard_x11_owner.cpp).
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/clipboard.h"
#include "platform/codepage.h"
#include "platform/platform.h"
#include "platform/common/clipboard_image.h"
#include "platform/posix/clipboard_x11.h"
#include "platform/win32_errors.h"

namespace kp::platform::clipboard {
namespace {

using namespace x11;  // Link, Property, the atom indices

enum class Got { kData, kRefused, kFailed };

// Asks the owner for `target`; the answer in `out`. kFailed with the last
// error set.
Got Request(Link& l, Atom target, Property* out) {
  XDeleteProperty(l.d(), l.window(), l.atom(kProperty));
  XConvertSelection(l.d(), l.atom(kClipboard), target, l.atom(kProperty), l.window(), CurrentTime);
  XFlush(l.d());
  XEvent e;
  auto ignore = [](XEvent&) {};
  if (!l.WaitFor(
          [&](const XEvent& e) {
            return e.type == SelectionNotify && e.xselection.requestor == l.window() &&
                   e.xselection.selection == l.atom(kClipboard);
          },
          Clock::now() + Timeout(), &e, ignore)) {
    SetLastError(l.dead() ? kNoDisplay : win32::kTimeout);
    return Got::kFailed;
  }
  if (e.xselection.property == None || !ReadProperty(l, l.window(), e.xselection.property, true, out))
    return Got::kRefused;
  if (out->type != l.atom(kIncr)) {
    if (out->bytes.size() > kMaxTransfer) {
      SetLastError(win32::kNotEnoughMemory);
      return Got::kFailed;
    }
    return Got::kData;
  }
  // INCR: deleting the property (done above) asks for each piece; an empty
  // piece ends the transfer.
  std::string whole;
  Atom type = None;
  for (;;) {
    XFlush(l.d());
    if (!l.WaitFor(
            [&](const XEvent& e) {
              return e.type == PropertyNotify && e.xproperty.window == l.window() &&
                     e.xproperty.atom == l.atom(kProperty) && e.xproperty.state == PropertyNewValue;
            },
            Clock::now() + Timeout(), &e, ignore)) {
      SetLastError(l.dead() ? kNoDisplay : win32::kTimeout);
      return Got::kFailed;
    }
    Property piece;
    if (!ReadProperty(l, l.window(), l.atom(kProperty), true, &piece)) continue;
    if (piece.bytes.empty()) break;
    type = piece.type;
    whole += piece.bytes;
    if (whole.size() > kMaxTransfer) {
      SetLastError(win32::kNotEnoughMemory);
      return Got::kFailed;
    }
  }
  out->type = type;
  out->format = 8;
  out->bytes = std::move(whole);
  return Got::kData;
}

// The owner's targets; empty when it does not tell them. False when it
// failed to answer at all.
bool Targets(Link& l, std::vector<Atom>* targets) {
  targets->clear();
  Property p;
  const Got got = Request(l, l.atom(kTargets), &p);
  if (got == Got::kFailed) return false;
  if (got == Got::kData && p.format == 32)
    for (long a : p.longs) targets->push_back(static_cast<Atom>(a));
  return true;
}

bool Contains(const std::vector<Atom>& list, Atom a) { return std::find(list.begin(), list.end(), a) != list.end(); }

// The text targets GetText reads.
bool IsText(const Link& l, Atom a) {
  return a == l.atom(kUtf8String) || a == l.atom(kTextPlainUtf8) || a == XA_STRING || a == l.atom(kText);
}

bool IsImage(const Link& l, Atom a) {
  return a == l.atom(kPng) || a == l.atom(kBmp) || a == l.atom(kXBmp) || a == l.atom(kGif) || a == l.atom(kJpeg);
}

}  // namespace

bool GetText(std::u16string* text) {
  text->clear();
  auto link = Link::Open();
  if (!link) return false;
  Link& l = *link;
  const ::Window owner = XGetSelectionOwner(l.d(), l.atom(kClipboard));
  if (owner == None) return true;
  if (x11::Owns(owner, text)) return true;
  std::vector<Atom> targets;
  if (!Targets(l, &targets)) return false;
  // Best first; an owner that does not list its targets is asked in turn.
  // TEXT lets the owner choose the type: STRING is read as Latin-1, any
  // other as UTF-8.
  const Atom wanted[] = {l.atom(kUtf8String), l.atom(kTextPlainUtf8), XA_STRING, l.atom(kText)};
  for (Atom target : wanted) {
    if (!targets.empty() && !Contains(targets, target)) continue;
    Property p;
    const Got got = Request(l, target, &p);
    if (got == Got::kFailed) return false;
    if (got == Got::kRefused) continue;
    if (p.type == XA_STRING) {
      text->assign(p.bytes.begin(), p.bytes.end());
      for (char16_t& c : *text) c = static_cast<unsigned char>(c);  // Latin-1
    } else {
      *text = FromCodePage(p.bytes, kCodePageUtf8);
    }
    return true;
  }
  return true;
}

bool SetText(std::u16string_view text) { return x11::Own(std::u16string(text)); }

bool SetBytes(std::span<const uint8_t> bytes) {
  std::u16string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const char16_t c = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
    if (c == 0) break;
    text += c;
  }
  return SetText(text);
}

bool HasFormat(int32_t format) {
  SetLastError(0);
  const bool wantText = format == kCfText || format == kCfOemText || format == kCfUnicodeText;
  const bool wantImage = format == kCfBitmap || format == kCfDib || format == kCfDibV5;
  if (!wantText && !wantImage) return false;
  auto link = Link::Open();
  if (!link) return false;
  Link& l = *link;
  const ::Window owner = XGetSelectionOwner(l.d(), l.atom(kClipboard));
  if (owner == None) return false;
  if (x11::Owns(owner, nullptr)) return wantText;
  std::vector<Atom> targets;
  if (!Targets(l, &targets)) return false;
  for (Atom a : targets)
    if ((wantText && IsText(l, a)) || (wantImage && IsImage(l, a))) return true;
  return false;
}

bool ImageSize(int32_t* width, int32_t* height) {
  *width = *height = 0;
  auto link = Link::Open();
  if (!link) return false;
  Link& l = *link;
  const ::Window owner = XGetSelectionOwner(l.d(), l.atom(kClipboard));
  if (owner == None || x11::Owns(owner, nullptr)) return true;
  std::vector<Atom> targets;
  if (!Targets(l, &targets)) return false;
  for (AtomIndex i : {kPng, kBmp, kXBmp, kGif, kJpeg}) {
    if (!Contains(targets, l.atom(i))) continue;
    Property p;
    const Got got = Request(l, l.atom(i), &p);
    if (got == Got::kFailed) return false;
    if (got == Got::kData && ReadImageSize(p.bytes, width, height)) return true;
  }
  return true;
}

}  // namespace kp::platform::clipboard
