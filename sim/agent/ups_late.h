// Answers that leave late: kept aside at the transport, so that nothing else has to wait.
#pragma once

#include <sys/time.h>

struct netsnmp_transport_s;

// Makes the transport's sending pass through here.
void DelayThrough(netsnmp_transport_s* transport);
// What is sent from now on leaves after that many milliseconds; 0 sends at once.
void DelayAnswers(int milliseconds);
// Shortens the wait to the moment when the next late answer is due.
void ShortenToNextAnswer(timeval* wait);
void SendLateAnswers();
void DropLateAnswers();
