// What alerts and exceptions need of the rest of the program, handed down once by `app/`.
#pragma once

#include "alerts/acted_marks.h"
#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "database/visit_history.h"
#include "notify/mail_queue.h"
#include "notify/sms_queue.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "ports/notices.h"
#include "ports/programs.h"

namespace vantry {

struct AlertContext {
  LiveTables& t;
  Settings& settings;
  const Regional& regional;
  ProgramLog& log;
  Clock& clock;
  Files& files;
  Notices& notices;
  View& view;
  Programs& programs;
  ExceptionHistory& history;
  MailQueue& mail;
  SmsQueue& sms;
  ActedMarks& acted;
};

}  // namespace vantry
