#include "nerio/hosts/portable/regional/regional_data.h"

namespace nerio::platform {
namespace {

RegionalData ItalianItaly() {
  return {
      .name = u"it-IT",
      .shortDate = u"dd/MM/yyyy",
      .timeOfDay = u"HH:mm:ss",
      .morning = u"AM",
      .afternoon = u"PM",
      .decimalMark = u",",
      .months = {u"gennaio", u"febbraio", u"marzo", u"aprile", u"maggio", u"giugno", u"luglio", u"agosto", u"settembre",
                 u"ottobre", u"novembre", u"dicembre"},
      .shortMonths = {u"gen", u"feb", u"mar", u"apr", u"mag", u"giu", u"lug", u"ago", u"set", u"ott", u"nov", u"dic"},
      .days = {u"lunedì", u"martedì", u"mercoledì", u"giovedì", u"venerdì", u"sabato", u"domenica"},
      .shortDays = {u"lun", u"mar", u"mer", u"gio", u"ven", u"sab", u"dom"}};
}

RegionalData EnglishUnitedStates() {
  return {
      .name = u"en-US",
      .shortDate = u"M/d/yyyy",
      .timeOfDay = u"h:mm:ss tt",
      .dateOrder = DateOrder::kMonthDayYear,
      .morning = u"AM",
      .afternoon = u"PM",
      .decimalMark = u".",
      .months = {u"January", u"February", u"March", u"April", u"May", u"June", u"July", u"August", u"September",
                 u"October", u"November", u"December"},
      .shortMonths = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun", u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"},
      .days = {u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday", u"Saturday", u"Sunday"},
      .shortDays = {u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat", u"Sun"}};
}

RegionalData EnglishUnitedKingdom() {
  RegionalData region = EnglishUnitedStates();
  region.name = u"en-GB";
  region.shortDate = u"dd/MM/yyyy";
  region.timeOfDay = u"HH:mm:ss";
  region.dateOrder = DateOrder::kDayMonthYear;
  region.morning = u"am";
  region.afternoon = u"pm";
  region.shortMonths[8] = u"Sept";
  return region;
}

RegionalData GermanGermany() {
  return {
      .name = u"de-DE",
      .shortDate = u"dd.MM.yyyy",
      .timeOfDay = u"HH:mm:ss",
      .dateSeparator = u'.',
      .morning = u"AM",
      .afternoon = u"PM",
      .decimalMark = u",",
      .months = {u"Januar", u"Februar", u"März", u"April", u"Mai", u"Juni", u"Juli", u"August", u"September",
                 u"Oktober", u"November", u"Dezember"},
      .shortMonths = {u"Jan", u"Feb", u"Mär", u"Apr", u"Mai", u"Jun", u"Jul", u"Aug", u"Sep", u"Okt", u"Nov", u"Dez"},
      .days = {u"Montag", u"Dienstag", u"Mittwoch", u"Donnerstag", u"Freitag", u"Samstag", u"Sonntag"},
      .shortDays = {u"Mo.", u"Di.", u"Mi.", u"Do.", u"Fr.", u"Sa.", u"So."}};
}

RegionalData FrenchFrance() {
  return {.name = u"fr-FR",
          .shortDate = u"dd/MM/yyyy",
          .timeOfDay = u"HH:mm:ss",
          .morning = u"AM",
          .afternoon = u"PM",
          .decimalMark = u",",
          .months = {u"janvier", u"février", u"mars", u"avril", u"mai", u"juin", u"juillet", u"août", u"septembre",
                     u"octobre", u"novembre", u"décembre"},
          .shortMonths = {u"janv.", u"févr.", u"mars", u"avr.", u"mai", u"juin", u"juil.", u"août", u"sept.", u"oct.",
                          u"nov.", u"déc."},
          .days = {u"lundi", u"mardi", u"mercredi", u"jeudi", u"vendredi", u"samedi", u"dimanche"},
          .shortDays = {u"lun.", u"mar.", u"mer.", u"jeu.", u"ven.", u"sam.", u"dim."}};
}

RegionalData SwedishSweden() {
  return {.name = u"sv-SE",
          .shortDate = u"yyyy-MM-dd",
          .timeOfDay = u"HH:mm:ss",
          .dateSeparator = u'-',
          .dateOrder = DateOrder::kYearMonthDay,
          .morning = u"fm",
          .afternoon = u"em",
          .decimalMark = u",",
          .months = {u"januari", u"februari", u"mars", u"april", u"maj", u"juni", u"juli", u"augusti", u"september",
                     u"oktober", u"november", u"december"},
          .shortMonths = {u"jan.", u"feb.", u"mars", u"apr.", u"maj", u"juni", u"juli", u"aug.", u"sep.", u"okt.",
                          u"nov.", u"dec."},
          .days = {u"måndag", u"tisdag", u"onsdag", u"torsdag", u"fredag", u"lördag", u"söndag"},
          .shortDays = {u"mån", u"tis", u"ons", u"tors", u"fre", u"lör", u"sön"}};
}

RegionalData JapaneseJapan() {
  return {.name = u"ja-JP",
          .shortDate = u"yyyy/MM/dd",
          .timeOfDay = u"H:mm:ss",
          .dateOrder = DateOrder::kYearMonthDay,
          .morning = u"午前",
          .afternoon = u"午後",
          .decimalMark = u".",
          .months = {u"1月", u"2月", u"3月", u"4月", u"5月", u"6月", u"7月", u"8月", u"9月", u"10月", u"11月", u"12月"},
          .shortMonths = {u"1月", u"2月", u"3月", u"4月", u"5月", u"6月", u"7月", u"8月", u"9月", u"10月", u"11月",
                          u"12月"},
          .days = {u"月曜日", u"火曜日", u"水曜日", u"木曜日", u"金曜日", u"土曜日", u"日曜日"},
          .shortDays = {u"月", u"火", u"水", u"木", u"金", u"土", u"日"}};
}

}  // namespace

std::optional<RegionalData> BuiltInRegion(TextView name) {
  for (const auto make : {ItalianItaly, EnglishUnitedStates, EnglishUnitedKingdom, GermanGermany, FrenchFrance,
                          SwedishSweden, JapaneseJapan}) {
    RegionalData region = make();
    if (region.name == name) return region;
  }
  return std::nullopt;
}

}  // namespace nerio::platform
