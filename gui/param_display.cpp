#include "param_display.h"

#include <cstdio>
#include <cstring>

#include "bitmap.h"
#include "draw_context.h"
#include "frame.h"

namespace platform = korro::platform;

namespace {
constexpr std::uint32_t kDoubleClickMs = 500;
platform::Rgb rgb(const CColor& c) { return {c.red, c.green, c.blue}; }
}  // namespace

CParamDisplay::CParamDisplay(const CRect& r, CBitmap* bg, std::int32_t s) : CControl(r, nullptr, 0, bg), style(s) {}

void CParamDisplay::setFont(std::int32_t id) {
  if (fontId != id) setDirty();
  fontId = id;
}

void CParamDisplay::setFontColor(const CColor& c) {
  if (fontColor != c) setDirty();
  fontColor = c;
}

void CParamDisplay::setBackColor(const CColor& c) {
  if (backColor != c) setDirty();
  backColor = c;
}

void CParamDisplay::setFrameColor(const CColor& c) {
  if (frameColor != c) setDirty();
  frameColor = c;
}

void CParamDisplay::setShadowColor(const CColor& c) {
  if (shadowColor != c) setDirty();
  shadowColor = c;
}

void CParamDisplay::setHoriAlign(std::int32_t a) {
  if (horiTxtAlign != a) setDirty();
  horiTxtAlign = a;
}

void CParamDisplay::setBackOffset(const CPoint& o) { backOffset = o; }

void CParamDisplay::setStringConvert(StringConvert2 convert, void* data) {
  stringConvert2 = convert;
  userData = data;
}

void CParamDisplay::setStringConvert(StringConvert convert) { stringConvert = convert; }

void CParamDisplay::setString2FloatConvert(String2FloatConvert convert) { string2FloatConvert = convert; }

void CParamDisplay::setStyle(std::int32_t s) {
  if (style != s) setDirty();
  style = s;
}

void CParamDisplay::setTxtFace(std::int32_t face) {
  if (txtFace != face) setDirty();
  txtFace = face;
}

void CParamDisplay::draw(CDrawContext* context) {
  char text[256] = {};
  if (stringConvert2)
    stringConvert2(value, text, userData);
  else if (stringConvert)
    stringConvert(value, text);
  else
    std::snprintf(text, sizeof text, "%2.2f", value);
  drawText(context, text);
}

void CParamDisplay::drawText(CDrawContext* context, const char* text, CBitmap* otherBackground) {
  if (style & kNoDrawStyle) {
    setDirty(false);
    return;
  }
  if (otherBackground) {
    otherBackground->draw(context, size, backOffset);
  } else if (background) {
    background->draw(context, size, backOffset);
  } else if (!transparencyEnabled) {
    context->setFillColor(backColor);
    context->fillRect(size);
    if (!(style & (k3DIn | k3DOut))) {
      context->setFrameColor(frameColor);
      context->drawRect(CRect(size.left, size.top, size.right - 1, size.bottom - 1));
    }
  }
  if (style & (k3DIn | k3DOut)) {
    // Light and dark edges, swapped between inset and outset.
    const CColor topLeft = (style & k3DIn) ? frameColor : backColor;
    const CColor bottomRight = (style & k3DIn) ? backColor : frameColor;
    context->setFrameColor(topLeft);
    context->moveTo(CPoint(size.left, size.bottom - 1));
    context->lineTo(CPoint(size.left, size.top));
    context->lineTo(CPoint(size.right, size.top));
    context->setFrameColor(bottomRight);
    context->moveTo(CPoint(size.right - 1, size.top + 1));
    context->lineTo(CPoint(size.right - 1, size.bottom - 1));
    context->lineTo(CPoint(size.left, size.bottom - 1));
  }
  if (!(style & kNoTextStyle) && text) {
    context->setFont(fontId, 0, txtFace);
    if (style & kShadowText) {
      CRect shadow(size);
      shadow.offset(1, 1);
      context->setFontColor(shadowColor);
      context->drawString(text, shadow, !textTransparencyEnabled, horiTxtAlign);
    }
    context->setFontColor(fontColor);
    context->setFillColor(backColor);
    context->drawString(text, size, !textTransparencyEnabled, horiTxtAlign);
  }
  setDirty(false);
}

CTextEdit::CTextEdit(const CRect& r, CControlListener* l, std::int32_t t, const char* txt, CBitmap* bg,
                     std::int32_t s)
    : CParamDisplay(r, bg, s) {
  listener = l;
  tag = t;
  if (txt) std::snprintf(textBuffer, sizeof textBuffer, "%s", txt);
}

CTextEdit::~CTextEdit() {
  if (editBox) platform::destroyEditBox(editBox);
  editBox = nullptr;
}

void CTextEdit::setText(const char* txt) {
  if (!txt || std::strcmp(txt, textBuffer) == 0) return;
  std::snprintf(textBuffer, sizeof textBuffer, "%s", txt);
  setDirty();
}

void CTextEdit::getText(char* out) const {
  if (out) std::strcpy(out, textBuffer);
}

void CTextEdit::setTextEditConvert(EditConvert convert) { editConvert = convert; }

void CTextEdit::setTextEditConvert(EditConvert2 convert, void* data) {
  editConvert2 = convert;
  userData = data;
}

void CTextEdit::draw(CDrawContext* context) {
  char shown[kTextSize * 2] = {};
  if (editConvert2)
    editConvert2(textBuffer, shown, userData);
  else if (editConvert)
    editConvert(textBuffer, shown);
  else
    std::snprintf(shown, sizeof shown, "%s", textBuffer);
  drawText(context, shown);
}

void CTextEdit::mouse(CDrawContext* context, CPoint&) {
  if (!mouseEnabled || !context) return;
  if (!(context->getMouseButtons() & kLButton)) return;
  if (parentFrame && parentFrame->getEditView() == this) return;
  if (style & kDoubleClickStyle) {
    const std::uint32_t now = platform::tickCount();
    if (firstClickTime == 0 || now - firstClickTime > kDoubleClickMs) {
      firstClickTime = now == 0 ? 1 : now;
      return;
    }
    firstClickTime = 0;
  }
  if (parentFrame) parentFrame->setEditView(this);
  takeFocus(context);
}

void CTextEdit::takeFocus(CDrawContext*) {
  if (editBox || !parentFrame || !parentFrame->getWindow()) return;
  std::memcpy(textBeforeEdit, textBuffer, sizeof textBuffer);
  platform::EditBoxStyle look;
  look.font.face = CDrawContext::fontFace(fontId);
  look.font.pixelSize = CDrawContext::scaledFontSize(CDrawContext::fontSize(fontId), screenScale());
  look.text = rgb(fontColor);
  look.back = rgb(backColor);
  look.align = horiTxtAlign == kCenterText  ? platform::Align::Centre
               : horiTxtAlign == kRightText ? platform::Align::Right
                                            : platform::Align::Left;
  // The edit box covers the field's edges too.
  const platform::Box box{size.left, size.top, size.width() + 1, size.height() + 1};
  editBox = platform::createEditBox(parentFrame->getWindow(), box, textBuffer, look, this);
}

void CTextEdit::looseFocus(CDrawContext* context) {
  if (!parentFrame || parentFrame->getEditView() != this) return;
  parentFrame->setEditView(nullptr);
  if (editBox) {
    char typed[kTextSize] = {};
    platform::editBoxText(editBox, typed, 255);  // at most 254 characters
    std::memcpy(textBuffer, typed, sizeof textBuffer);
    platform::EditBox* box = editBox;
    editBox = nullptr;
    platform::destroyEditBox(box);
  }
  CDrawContext own(parentFrame, parentFrame->getWindow());
  CDrawContext* c = context ? context : &own;
  if (std::strcmp(textBuffer, textBeforeEdit) != 0 && listener) listener->valueChanged(c, this);
  // The box was a pixel wider and taller than the field: what lay under that
  // pixel shows again, not just the field.
  parentFrame->drawArea(c, CRect(size.left, size.top, size.right + 1, size.bottom + 1));
}

void CTextEdit::onEditEnd(platform::EditBox*) { looseFocus(nullptr); }
