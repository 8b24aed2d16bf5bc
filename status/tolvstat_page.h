// The information page of a UPS behind an SNMP agent, and its model text.
#pragma once

// Shows the information page: whatever of its 26 objects the agent answers.
void ScreenTwo();

// Shows the agent's two identification texts over the title's right part.
void UPSname_model();
