// kp160std — the variable table (members of the component's structured
// variables) and the three types.
//
// A variable identifier holds the member's type code in bits 24-31, the
// component number in bits 16-23 and the row index in bits 0-15.
#include <array>
#include <cstddef>
#include <cstring>
#include <new>

#include "component/ansi.h"
#include "abi/strings.h"
#include "component/tables.h"

namespace kp {
namespace {

struct VariableDecl {
  const char* french;
  const char* english;
  uint32_t type;
  uint32_t flags;
};

#define KP_VAR(fr, en, type, flags) VariableDecl{KP_ANSI(fr), KP_ANSI(en), type, flags}

constexpr VariableDecl kDeclarations[] = {
    KP_VAR("_DDE.Sujet", "_DDE.Topic", 19, 0x10),
    KP_VAR("_DDE.Item", "_DDE.Item", 19, 0x10),
    KP_VAR("_DDE.Chaine", "_DDE.String", 19, 0x10),
    KP_VAR("_DDE.Cr", "_DDE.Cr", 8, 0x10),
    KP_VAR("_DDE.Evenement", "_DDE.Event", 8, 0x10),
    KP_VAR("HoraireTâchePlanifiée.Heure", "TriggerScheduledTask.Time", 25, 0x218),
    KP_VAR("HoraireTâchePlanifiée.Intervalle", "TriggerScheduledTask.Interval", 8, 0x218),
    KP_VAR("HoraireTâchePlanifiée.JoursSemaine", "TriggerScheduledTask.DayOfWeek", 8, 0x218),
    KP_VAR("HoraireTâchePlanifiée.Jour", "TriggerScheduledTask.Day", 8, 0x218),
    KP_VAR("HoraireTâchePlanifiée.Mois", "TriggerScheduledTask.Month", 8, 0x218),
    KP_VAR("HoraireTâchePlanifiée.Date", "TriggerScheduledTask.Date", 24, 0x218),
    KP_VAR("HoraireTâchePlanifiée.DuréeInactivité", "TriggerScheduledTask.IdleWait", 8, 0x218),
    KP_VAR("HoraireTâchePlanifiée.DateDébut", "TriggerScheduledTask.BeginDate", 24, 0x218),
    KP_VAR("HoraireTâchePlanifiée.DateFin", "TriggerScheduledTask.EndDate", 24, 0x218),
    KP_VAR("HoraireTâchePlanifiée.PériodeRépétition", "TriggerScheduledTask.RepeatInterval", 8, 0x218),
    KP_VAR("HoraireTâchePlanifiée.DuréeRépétition", "TriggerScheduledTask.RepeatDuration", 8, 0x218),
    KP_VAR("HoraireTâchePlanifiée.ArrêtForcé", "TriggerScheduledTask.ForcedStop", 1, 0x218),
    KP_VAR("HoraireTâchePlanifiée.Type", "TriggerScheduledTask.Type", 8, 0x218),
    KP_VAR("TâchePlanifiée.Application", "ScheduledTask.Application", 19, 0x218),
    KP_VAR("TâchePlanifiée.LigneCommande", "ScheduledTask.CommandLine", 19, 0x218),
    KP_VAR("TâchePlanifiée.RépertoireTravail", "ScheduledTask.WorkingDirectory", 19, 0x218),
    KP_VAR("TâchePlanifiée.Commentaire", "ScheduledTask.Comment", 19, 0x218),
    KP_VAR("TâchePlanifiée.SuppressionAutomatique", "ScheduledTask.DeleteWhenDone", 1, 0x218),
    KP_VAR("TâchePlanifiée.DuréeMaximum", "ScheduledTask.MaxRunTime", 27, 0x218),
    KP_VAR("TâchePlanifiée.DélaiInactivité", "ScheduledTask.IdleTimeout", 8, 0x218),
    KP_VAR("TâchePlanifiée.DélaiAttenteInactivité", "ScheduledTask.IdleWaitTimeout", 8, 0x218),
    KP_VAR("TâchePlanifiée.ArrêtSurActivité", "ScheduledTask.StopOnIdleEnd", 1, 0x218),
    KP_VAR("TâchePlanifiée.PasSurBatteries", "ScheduledTask.DontRunIfOnBatteries", 1, 0x218),
    KP_VAR("TâchePlanifiée.ArrêtSurBatteries", "ScheduledTask.StopOnBatteries", 1, 0x218),
    KP_VAR("TâchePlanifiée.Eveil", "ScheduledTask.SystemOn", 1, 0x218),
    KP_VAR("TâchePlanifiée.NombreHoraires", "ScheduledTask.TriggerCount", 8, 0x218),
    KP_VAR("TâchePlanifiée.DernièreExécution", "ScheduledTask.LastRunDate", 26, 0x218),
    KP_VAR("TâchePlanifiée.ProchaineExécution", "ScheduledTask.NextRunTime", 26, 0x218),
    KP_VAR("TâchePlanifiée.CodeErreur", "ScheduledTask.ErrorCode", 8, 0x218),
    KP_VAR("HoraireTâchePlanifiée.Libellé", "TriggerScheduledTask.Caption", 19, 0x218),
    KP_VAR("TâchePlanifiée.Utilisateur", "ScheduledTask.User", 19, 0x218),
    KP_VAR("TâchePlanifiée.MotDePasse", "ScheduledTask.Password", 19, 0x218),
    KP_VAR("TâchePlanifiée.ExécuteSiSessionOuverte", "ScheduledTask.RunIfLoggedOn", 1, 0x218),
    KP_VAR("Service.Description", "Service.Description", 19, 0x210),
    KP_VAR("Service.Démarrage", "Service.Startup", 8, 0x210),
    KP_VAR("Service.ErreurDémarrage", "Service.StartupError", 8, 0x210),
    KP_VAR("Service.LigneCommande", "Service.CommandLine", 19, 0x210),
    KP_VAR("Service.Utilisateur", "Service.User", 19, 0x210),
    KP_VAR("Service.MotDePasse", "Service.Password", 19, 0x210),
    KP_VAR("Service.Type", "Service.Type", 8, 0x210),
    KP_VAR("Service.DescriptionLongue", "Service.LongDescription", 19, 0x210),
    KP_VAR("Service.ReinitCompteurDéfaillance", "Service.ReinitFailureCounter", 8, 0x210),
    KP_VAR("Service.MessageRebootSurDéfaillance", "Service.MessageRebootOnFailure", 19, 0x210),
    KP_VAR("Service.LanceAppliSurDéfaillance", "Service.StartAppOnFailure", 19, 0x210),
    KP_VAR("Service.ActionSurDéfaillance", "Service.ActionOnFailure", 64, 0x210),
    KP_VAR("Service.DélaiAvantActionSurDéfaillance", "Service.TimeoutBeforeActionOnFailure", 64, 0x210),
    KP_VAR("Service.DémarrageRetardé", "Service.DelayedStartup", 1, 0x210),
    KP_VAR("Service.NbActionSurDéfaillance", "Service.NbActionOnFailure", 8, 0x210),
};

#undef KP_VAR

constexpr auto kVariables = [] {
  std::array<KLVariableRow, std::size(kDeclarations)> rows{};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto& d = kDeclarations[i];
    rows[i] = {d.french, d.english, d.flags,
               (d.type << 24) | (uint32_t{KL_COMPONENT_NUMBER} << 16) | static_cast<uint32_t>(i)};
  }
  return rows;
}();
static_assert(kVariables.size() == KL_VARIABLE_COUNT, "the VM expects 53 variable rows");

// Types are named "+:" + component in three digits + ":" + index + ":STD:" +
// French name.
constexpr const char* kTypeNames[KL_TYPE_COUNT] = {
    "+:008:0:STD:Processus",
    "+:008:1:STD:InfoVersion",
    "+:008:2:STD:Certificat",
};

// Members of the types, where their family names them. A process is its
// executable's path and its identifier, as the process snapshot records it;
// the version-information and certificate types belong to functions that are
// declared without an implementation here, so they declare no members.
#define KP_MEMBER(fr, en, type, index)                                                                       \
  KLVariableRow {                                                                                            \
    KP_ANSI(fr), KP_ANSI(en), 0x10, (uint32_t{type} << 24) | (uint32_t{KL_COMPONENT_NUMBER} << 16) | (index) \
  }
constexpr KLVariableRow kProcessMembers[] = {
    KP_MEMBER("Chemin", "Path", KL_T_TEXT, 0),
    KP_MEMBER("PID", "PID", KL_T_INT, 1),
};
#undef KP_MEMBER

// An instance: one cell per member (at least one), zeroed. Text cells own
// their holder.
template <const KLVariableRow* Members, std::size_t Count>
struct TypeOperations {
  static constexpr std::size_t kCells = Count ? Count : 1;
  static void* KL_CALL Create() { return new (std::nothrow) std::array<unsigned char, kCells * KL_TYPE_CELL_BYTES>{}; }
  static void KL_CALL Release(void* instance, int32_t flags) {
    if (!instance || !(flags & 1)) return;
    auto* cells = static_cast<std::array<unsigned char, kCells * KL_TYPE_CELL_BYTES>*>(instance);
    for (std::size_t i = 0; i < Count; ++i) {
      if ((Members[i].identifier >> 24) != KL_T_TEXT) continue;
      KLStringHolder holder;
      std::memcpy(&holder, cells->data() + i * KL_TYPE_CELL_BYTES, sizeof holder);
      ReleaseHolder(holder);
    }
    delete cells;
  }
};
using ProcessOps = TypeOperations<kProcessMembers, std::size(kProcessMembers)>;
using MemberlessOps = TypeOperations<nullptr, 0>;

constexpr KLTypeDescriptor kTypeDescriptors[KL_TYPE_COUNT] = {
    {"Processus,Processus,m", "Process,Processes,", kTypeNames[0], KL_TYPE_FLAGS, KL_TYPE_OPERATION_COUNT,
     &ProcessOps::Create, &ProcessOps::Release, kProcessMembers, std::size(kProcessMembers)},
    {"InfoVersion,InfoVersions,f", "VersionInfo,VersionInfos,", kTypeNames[1], KL_TYPE_FLAGS_UNAVAILABLE,
     KL_TYPE_OPERATION_COUNT, &MemberlessOps::Create, &MemberlessOps::Release, nullptr, 0},
    {"Certificat,Certificats,m", "Certificate,Certificates,", kTypeNames[2], KL_TYPE_FLAGS_UNAVAILABLE,
     KL_TYPE_OPERATION_COUNT, &MemberlessOps::Create, &MemberlessOps::Release, nullptr, 0},
};
constexpr const KLTypeDescriptor* kTypeDescriptorTable = kTypeDescriptors;

}  // namespace

const KLVariableRow* VariableTable() { return kVariables.data(); }
const char* const* TypeNameTable() { return kTypeNames; }
const KLTypeDescriptor* const* TypeDescriptorTableAddress() { return &kTypeDescriptorTable; }

}  // namespace kp
