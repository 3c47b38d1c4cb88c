// A setting is written and read back, a message is filled, an error is caught. Compile it for x86, as a program of 32 bits.
// Untried: it compiles (mono-mcs), and has not been run yet.
using System;
using System.Reflection;
using System.Runtime.InteropServices;

static class Impostazioni {
  static object nerio;

  static object Call(string member, params object[] arguments) {
    return nerio.GetType().InvokeMember(member, BindingFlags.InvokeMethod, null, nerio, arguments);
  }

  static void Main() {
    nerio = Activator.CreateInstance(Type.GetTypeFromProgID("Nerio.Component"));
    Call("ScriviImpostazione", "Esempio C#", "Lingua", "it");
    Console.WriteLine(Call("LeggiImpostazione", "Esempio C#", "Lingua", "en"));
    Console.WriteLine(Call("FormatTemplate", "{0} di {1}", new object[] { 3, 7 }));
    try {
      Call("ValidateParam", "", "sTesto");
    } catch (TargetInvocationException error) {
      var failure = error.InnerException as COMException;
      Console.WriteLine("{0}: {1}", failure.ErrorCode, failure.Message);
    }
  }
}
