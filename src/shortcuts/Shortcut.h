#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Global keyboard shortcuts: the value model, its store and the hot-key registry.
namespace moritane::GlobalShortcuts {

/// Modifier bits as events carry them and callers state them.
namespace ModifierFlags {
inline constexpr std::int64_t capsLock = 0x10000;
inline constexpr std::int64_t shift = 0x20000;
inline constexpr std::int64_t control = 0x40000;
inline constexpr std::int64_t option = 0x80000;
inline constexpr std::int64_t command = 0x100000;
inline constexpr std::int64_t numericPad = 0x200000;
inline constexpr std::int64_t function = 0x800000;
}  // namespace ModifierFlags

/// Modifier bits as the hot-key service and the stored form hold them.
namespace CarbonModifiers {
inline constexpr std::int64_t command = 0x100;
inline constexpr std::int64_t shift = 0x200;
inline constexpr std::int64_t option = 0x800;
inline constexpr std::int64_t control = 0x1000;
}  // namespace CarbonModifiers

/// The four modifiers, from event form to service form; every other bit is dropped.
std::int64_t carbonModifiers(std::int64_t modifierFlags);
/// The four modifiers, from service form to event form; every other bit is dropped.
std::int64_t cocoaModifiers(std::int64_t carbonFlags);

/// A physical key by its virtual key code: the key at that place on an ANSI keyboard, whatever
/// the layout prints on it. Any integer makes a key.
struct Key {
    std::int64_t rawValue = 0;

    friend bool operator==(const Key&, const Key&) = default;

    // "return" and "delete" are words of the language: those two carry an underscore.
    static const Key a;
    static const Key b;
    static const Key c;
    static const Key d;
    static const Key e;
    static const Key f;
    static const Key g;
    static const Key h;
    static const Key i;
    static const Key j;
    static const Key k;
    static const Key l;
    static const Key m;
    static const Key n;
    static const Key o;
    static const Key p;
    static const Key q;
    static const Key r;
    static const Key s;
    static const Key t;
    static const Key u;
    static const Key v;
    static const Key w;
    static const Key x;
    static const Key y;
    static const Key z;
    static const Key zero;
    static const Key one;
    static const Key two;
    static const Key three;
    static const Key four;
    static const Key five;
    static const Key six;
    static const Key seven;
    static const Key eight;
    static const Key nine;
    static const Key capsLock;
    static const Key shift;
    static const Key function;
    static const Key control;
    static const Key option;
    static const Key command;
    static const Key rightCommand;
    static const Key rightOption;
    static const Key rightControl;
    static const Key rightShift;
    static const Key return_;
    static const Key backslash;
    static const Key backtick;
    static const Key comma;
    static const Key equal;
    static const Key minus;
    static const Key period;
    static const Key quote;
    static const Key semicolon;
    static const Key slash;
    static const Key space;
    static const Key tab;
    static const Key leftBracket;
    static const Key rightBracket;
    static const Key pageUp;
    static const Key pageDown;
    static const Key home;
    static const Key end;
    static const Key upArrow;
    static const Key rightArrow;
    static const Key downArrow;
    static const Key leftArrow;
    static const Key escape;
    static const Key delete_;
    static const Key deleteForward;
    static const Key help;
    static const Key mute;
    static const Key volumeUp;
    static const Key volumeDown;
    static const Key f1;
    static const Key f2;
    static const Key f3;
    static const Key f4;
    static const Key f5;
    static const Key f6;
    static const Key f7;
    static const Key f8;
    static const Key f9;
    static const Key f10;
    static const Key f11;
    static const Key f12;
    static const Key f13;
    static const Key f14;
    static const Key f15;
    static const Key f16;
    static const Key f17;
    static const Key f18;
    static const Key f19;
    static const Key f20;
    static const Key keypad0;
    static const Key keypad1;
    static const Key keypad2;
    static const Key keypad3;
    static const Key keypad4;
    static const Key keypad5;
    static const Key keypad6;
    static const Key keypad7;
    static const Key keypad8;
    static const Key keypad9;
    static const Key keypadClear;
    static const Key keypadDecimal;
    static const Key keypadDivide;
    static const Key keypadEnter;
    static const Key keypadEquals;
    static const Key keypadMinus;
    static const Key keypadMultiply;
    static const Key keypadPlus;
};

inline constexpr Key Key::a{0};
inline constexpr Key Key::b{11};
inline constexpr Key Key::c{8};
inline constexpr Key Key::d{2};
inline constexpr Key Key::e{14};
inline constexpr Key Key::f{3};
inline constexpr Key Key::g{5};
inline constexpr Key Key::h{4};
inline constexpr Key Key::i{34};
inline constexpr Key Key::j{38};
inline constexpr Key Key::k{40};
inline constexpr Key Key::l{37};
inline constexpr Key Key::m{46};
inline constexpr Key Key::n{45};
inline constexpr Key Key::o{31};
inline constexpr Key Key::p{35};
inline constexpr Key Key::q{12};
inline constexpr Key Key::r{15};
inline constexpr Key Key::s{1};
inline constexpr Key Key::t{17};
inline constexpr Key Key::u{32};
inline constexpr Key Key::v{9};
inline constexpr Key Key::w{13};
inline constexpr Key Key::x{7};
inline constexpr Key Key::y{16};
inline constexpr Key Key::z{6};
inline constexpr Key Key::zero{29};
inline constexpr Key Key::one{18};
inline constexpr Key Key::two{19};
inline constexpr Key Key::three{20};
inline constexpr Key Key::four{21};
inline constexpr Key Key::five{23};
inline constexpr Key Key::six{22};
inline constexpr Key Key::seven{26};
inline constexpr Key Key::eight{28};
inline constexpr Key Key::nine{25};
inline constexpr Key Key::capsLock{57};
inline constexpr Key Key::shift{56};
inline constexpr Key Key::function{63};
inline constexpr Key Key::control{59};
inline constexpr Key Key::option{58};
inline constexpr Key Key::command{55};
inline constexpr Key Key::rightCommand{54};
inline constexpr Key Key::rightOption{61};
inline constexpr Key Key::rightControl{62};
inline constexpr Key Key::rightShift{60};
inline constexpr Key Key::return_{36};
inline constexpr Key Key::backslash{42};
inline constexpr Key Key::backtick{50};
inline constexpr Key Key::comma{43};
inline constexpr Key Key::equal{24};
inline constexpr Key Key::minus{27};
inline constexpr Key Key::period{47};
inline constexpr Key Key::quote{39};
inline constexpr Key Key::semicolon{41};
inline constexpr Key Key::slash{44};
inline constexpr Key Key::space{49};
inline constexpr Key Key::tab{48};
inline constexpr Key Key::leftBracket{33};
inline constexpr Key Key::rightBracket{30};
inline constexpr Key Key::pageUp{116};
inline constexpr Key Key::pageDown{121};
inline constexpr Key Key::home{115};
inline constexpr Key Key::end{119};
inline constexpr Key Key::upArrow{126};
inline constexpr Key Key::rightArrow{124};
inline constexpr Key Key::downArrow{125};
inline constexpr Key Key::leftArrow{123};
inline constexpr Key Key::escape{53};
inline constexpr Key Key::delete_{51};
inline constexpr Key Key::deleteForward{117};
inline constexpr Key Key::help{114};
inline constexpr Key Key::mute{74};
inline constexpr Key Key::volumeUp{72};
inline constexpr Key Key::volumeDown{73};
inline constexpr Key Key::f1{122};
inline constexpr Key Key::f2{120};
inline constexpr Key Key::f3{99};
inline constexpr Key Key::f4{118};
inline constexpr Key Key::f5{96};
inline constexpr Key Key::f6{97};
inline constexpr Key Key::f7{98};
inline constexpr Key Key::f8{100};
inline constexpr Key Key::f9{101};
inline constexpr Key Key::f10{109};
inline constexpr Key Key::f11{103};
inline constexpr Key Key::f12{111};
inline constexpr Key Key::f13{105};
inline constexpr Key Key::f14{107};
inline constexpr Key Key::f15{113};
inline constexpr Key Key::f16{106};
inline constexpr Key Key::f17{64};
inline constexpr Key Key::f18{79};
inline constexpr Key Key::f19{80};
inline constexpr Key Key::f20{90};
inline constexpr Key Key::keypad0{82};
inline constexpr Key Key::keypad1{83};
inline constexpr Key Key::keypad2{84};
inline constexpr Key Key::keypad3{85};
inline constexpr Key Key::keypad4{86};
inline constexpr Key Key::keypad5{87};
inline constexpr Key Key::keypad6{88};
inline constexpr Key Key::keypad7{89};
inline constexpr Key Key::keypad8{91};
inline constexpr Key Key::keypad9{92};
inline constexpr Key Key::keypadClear{71};
inline constexpr Key Key::keypadDecimal{65};
inline constexpr Key Key::keypadDivide{75};
inline constexpr Key Key::keypadEnter{76};
inline constexpr Key Key::keypadEquals{81};
inline constexpr Key Key::keypadMinus{78};
inline constexpr Key Key::keypadMultiply{67};
inline constexpr Key Key::keypadPlus{69};

/// A keyboard event as the shortcut model reads it.
struct KeyEvent {
    static constexpr std::int64_t keyDown = 10;
    static constexpr std::int64_t keyUp = 11;
    /// A modifier key alone going down or up.
    static constexpr std::int64_t flagsChanged = 12;

    std::int64_t type = keyDown;
    std::int64_t keyCode = 0;
    std::int64_t modifierFlags = 0;
};

/// A key and a set of modifiers, in the numbers the hot-key service takes. Every shortcut made
/// by the factories below carries only the four modifier bits.
struct Shortcut {
    std::int64_t carbonKeyCode = 0;
    std::int64_t carbonModifiers = 0;

    /// `modifierFlags` in event form.
    static Shortcut make(Key key, std::int64_t modifierFlags);
    static Shortcut fromCarbon(std::int64_t carbonKeyCode, std::int64_t carbonModifiers);
    /// None for an event that is no key down or key up.
    static std::optional<Shortcut> fromEvent(const KeyEvent& event);

    [[nodiscard]] Key key() const { return Key{carbonKeyCode}; }
    /// In event form.
    [[nodiscard]] std::int64_t modifiers() const { return GlobalShortcuts::cocoaModifiers(carbonModifiers); }

    friend bool operator==(const Shortcut&, const Shortcut&) = default;
    friend bool operator<(const Shortcut& left, const Shortcut& right) {
        return left.carbonKeyCode != right.carbonKeyCode ? left.carbonKeyCode < right.carbonKeyCode
                                                         : left.carbonModifiers < right.carbonModifiers;
    }
};

/// The stored form: {"carbonKeyCode":29,"carbonModifiers":6400}.
std::string encode(const Shortcut& shortcut);

/// The key codes the platform's keyboard services take: 16 bits. A larger one would be cut down
/// to another key on its way there.
inline constexpr std::int64_t maximumKeyCode = 0xFFFF;
/// The modifiers the hot-key service takes: 32 bits.
inline constexpr std::int64_t maximumModifiers = 0xFFFFFFFF;

/// Reads the stored form: an object with both members as integers, in any order, other members
/// ignored. A key code or modifiers outside what the platform takes make it unreadable; the
/// modifiers are otherwise taken as they are.
std::optional<Shortcut> decodeShortcut(std::string_view text);

/// One assignable action of the application. Names are equal when their raw values are.
struct Name {
    std::string rawValue;
    std::optional<Shortcut> defaultShortcut;

    friend bool operator==(const Name& left, const Name& right) { return left.rawValue == right.rawValue; }
    friend bool operator<(const Name& left, const Name& right) { return left.rawValue < right.rawValue; }
};

}  // namespace moritane::GlobalShortcuts

template <>
struct std::hash<moritane::GlobalShortcuts::Shortcut> {
    std::size_t operator()(const moritane::GlobalShortcuts::Shortcut& shortcut) const noexcept {
        const auto first = std::hash<std::int64_t>{}(shortcut.carbonKeyCode);
        return first ^ (std::hash<std::int64_t>{}(shortcut.carbonModifiers) + 0x9e3779b97f4a7c15ULL + (first << 6U) +
                        (first >> 2U));
    }
};

template <>
struct std::hash<moritane::GlobalShortcuts::Name> {
    std::size_t operator()(const moritane::GlobalShortcuts::Name& name) const noexcept {
        return std::hash<std::string>{}(name.rawValue);
    }
};
