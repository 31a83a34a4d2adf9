// Value displays: CParamDisplay shows a control's value as text; CTextEdit
// holds a text that the user can replace in a native edit box.
#pragma once

#include "platform/platform.h"
#include "view.h"

// Style bits of value displays.
enum : std::int32_t {
  kShadowText = 0x4,
  k3DIn = 0x80,
  k3DOut = 0x100,
  kNoTextStyle = 0x800,
  kNoDrawStyle = 0x1000,
  kDoubleClickStyle = 0x2000,  // text edit: a second click within the double-click time edits
};

class CParamDisplay : public CControl {
 public:
  using StringConvert = void (*)(float value, char* text);
  using StringConvert2 = void (*)(float value, char* text, void* userData);
  using String2FloatConvert = void (*)(char* text, float& value, void* userData);

  CParamDisplay(const CRect& size, CBitmap* background = nullptr, std::int32_t style = 0);

  void draw(CDrawContext* context) override;

  virtual void setFont(std::int32_t fontId);
  virtual void setFontColor(const CColor& colour);
  virtual void setBackColor(const CColor& colour);
  virtual void setFrameColor(const CColor& colour);
  virtual void setShadowColor(const CColor& colour);
  virtual void setHoriAlign(std::int32_t align);
  virtual void setBackOffset(const CPoint& offset);
  virtual void setStringConvert(StringConvert2 convert, void* userData);
  virtual void setStringConvert(StringConvert convert);
  virtual void setString2FloatConvert(String2FloatConvert convert);
  virtual void setStyle(std::int32_t style);
  virtual void setTxtFace(std::int32_t face);
  virtual void setTextTransparency(bool value) { textTransparencyEnabled = value; }

  std::int32_t getFont() const { return fontId; }
  CColor getFontColor() const { return fontColor; }
  CColor getBackColor() const { return backColor; }
  CColor getFrameColor() const { return frameColor; }
  std::int32_t getHoriAlign() const { return horiTxtAlign; }
  CPoint getBackOffset() const { return backOffset; }
  std::int32_t getStyle() const { return style; }

 protected:
  // Background, frame and the text, by the display's style; then clean.
  void drawText(CDrawContext* context, const char* text, CBitmap* otherBackground = nullptr);

  StringConvert stringConvert = nullptr;
  StringConvert2 stringConvert2 = nullptr;
  String2FloatConvert string2FloatConvert = nullptr;
  void* userData = nullptr;
  std::int32_t horiTxtAlign = kCenterText;
  std::int32_t style;
  std::int32_t fontId = kNormalFont;
  std::int32_t txtFace = kNormalFace;
  CColor fontColor{255, 255, 255, 0};
  CColor backColor{0, 0, 0, 0};
  CColor frameColor{0, 0, 0, 0};
  CColor shadowColor{150, 150, 150, 0};
  CPoint backOffset;
  bool textTransparencyEnabled = true;
};

class CTextEdit : public CParamDisplay, private korro::platform::EditBoxHandler {
 public:
  using EditConvert = void (*)(char* input, char* output);
  using EditConvert2 = void (*)(char* input, char* output, void* userData);

  static constexpr int kTextSize = 256;

  // A null text means empty.
  CTextEdit(const CRect& size, CControlListener* listener, std::int32_t tag, const char* text = nullptr,
            CBitmap* background = nullptr, std::int32_t style = 0);

  void draw(CDrawContext* context) override;
  void mouse(CDrawContext* context, CPoint& where) override;
  // Opens the edit box over the field, all text selected, with the focus.
  void takeFocus(CDrawContext* context = nullptr) override;
  // Ends the edit: keeps the typed text and tells the listener if it changed.
  void looseFocus(CDrawContext* context = nullptr) override;

  virtual void setText(const char* text);
  virtual void getText(char* out) const;
  virtual void setTextEditConvert(EditConvert convert);
  virtual void setTextEditConvert(EditConvert2 convert, void* userData);

  const char* text() const { return textBuffer; }
  bool isEditing() const { return editBox != nullptr; }

 protected:
  ~CTextEdit() override;

 private:
  void onEditEnd(korro::platform::EditBox* box) override;

  korro::platform::EditBox* editBox = nullptr;
  char textBuffer[kTextSize] = {};
  char textBeforeEdit[kTextSize] = {};
  EditConvert editConvert = nullptr;
  EditConvert2 editConvert2 = nullptr;
  std::uint32_t firstClickTime = 0;
};
