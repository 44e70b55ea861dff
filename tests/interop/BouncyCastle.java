import java.nio.file.Files;
import java.nio.file.Path;
import java.security.PrivateKey;
import java.security.SecureRandom;
import java.security.Security;
import java.security.cert.X509Certificate;
import java.util.Arrays;
import java.util.Collection;
import org.bouncycastle.asn1.ASN1ObjectIdentifier;
import org.bouncycastle.asn1.DEROctetString;
import org.bouncycastle.asn1.cryptopro.CryptoProObjectIdentifiers;
import org.bouncycastle.asn1.pkcs.PrivateKeyInfo;
import org.bouncycastle.asn1.rosstandart.RosstandartObjectIdentifiers;
import org.bouncycastle.asn1.x509.SubjectPublicKeyInfo;
import org.bouncycastle.cert.X509CertificateHolder;
import org.bouncycastle.cert.jcajce.JcaX509CertificateConverter;
import org.bouncycastle.cms.CMSAlgorithm;
import org.bouncycastle.cms.CMSEnvelopedData;
import org.bouncycastle.cms.CMSEnvelopedDataGenerator;
import org.bouncycastle.cms.CMSProcessableByteArray;
import org.bouncycastle.cms.CMSSignedData;
import org.bouncycastle.cms.CMSSignedDataGenerator;
import org.bouncycastle.cms.KeyTransRecipientId;
import org.bouncycastle.cms.RecipientInformation;
import org.bouncycastle.cms.SignerInformation;
import org.bouncycastle.cms.jcajce.JcaSimpleSignerInfoGeneratorBuilder;
import org.bouncycastle.cms.jcajce.JcaSimpleSignerInfoVerifierBuilder;
import org.bouncycastle.cms.jcajce.JceCMSContentEncryptorBuilder;
import org.bouncycastle.cms.jcajce.JceKeyAgreeRecipientInfoGenerator;
import org.bouncycastle.cms.jcajce.JceKeyTransEnvelopedRecipient;
import org.bouncycastle.cms.jcajce.JceKeyTransRecipientInfoGenerator;
import org.bouncycastle.jce.provider.BouncyCastleProvider;
import org.bouncycastle.openssl.PEMParser;
import org.bouncycastle.openssl.jcajce.JcaPEMKeyConverter;

/**
 * Does with Bouncy Castle what each line of a file asks for: a task, a name, and the task's files, with
 * tabs between. Prints a line for each: the name, a tab, and "good" or what went wrong.
 */
public final class BouncyCastle {
  private static final String PROVIDER = "BC";

  private BouncyCastle() {}

  public static void main(String[] arguments) throws Exception {
    Security.addProvider(new BouncyCastleProvider());
    for (String line : Files.readAllLines(Path.of(arguments[0]))) {
      String[] words = line.split("\t");
      System.out.println(words[1] + "\t" + outcome(words));
    }
  }

  private static String outcome(String[] words) {
    try {
      switch (words[0]) {
        case "open":
          return open(words[2], words[3], words[4], words[5]);
        case "verify":
          return verify(words[2], words[3], Integer.parseInt(words[4]));
        case "verifyDetached":
          return verifyDetached(words[2], words[3], Integer.parseInt(words[4]));
        case "encrypt":
          return encrypt(words[2], words[3], words[4], "");
        case "agree":
          return encrypt(words[2], words[3], words[4], words[5]);
        case "sign":
          return sign(words[2], words[3], words[4], words[5], words[6]);
        default:
          return "unknown task";
      }
    } catch (Exception | LinkageError failure) {
      return failure.toString().replaceAll("\\s+", " ");
    }
  }

  /** Decrypts a message as the recipient with this key and certificate. */
  private static String open(String message, String key, String certificate, String content)
      throws Exception {
    X509CertificateHolder holder = certificate(certificate);
    KeyTransRecipientId id = new KeyTransRecipientId(holder.getIssuer(), holder.getSerialNumber());
    RecipientInformation recipient =
        new CMSEnvelopedData(read(message)).getRecipientInfos().get(id);
    if (recipient == null) {
      return "no such recipient";
    }
    byte[] opened =
        recipient.getContent(new JceKeyTransEnvelopedRecipient(key(key)).setProvider(PROVIDER));
    return Arrays.equals(opened, read(content)) ? "good" : "other content";
  }

  private static String verify(String message, String content, int signers) throws Exception {
    CMSSignedData data = new CMSSignedData(read(message));
    byte[] inside = (byte[]) data.getSignedContent().getContent();
    return Arrays.equals(inside, read(content)) ? verify(data, signers) : "other content";
  }

  private static String verifyDetached(String message, String content, int signers)
      throws Exception {
    return verify(
        new CMSSignedData(new CMSProcessableByteArray(read(content)), read(message)), signers);
  }

  /** Verifies all signers with the certificates inside the message. */
  private static String verify(CMSSignedData data, int signers) throws Exception {
    if (data.getSignerInfos().size() != signers) {
      return data.getSignerInfos().size() + " signers";
    }
    for (SignerInformation signer : data.getSignerInfos()) {
      @SuppressWarnings("unchecked")
      Collection<X509CertificateHolder> found = data.getCertificates().getMatches(signer.getSID());
      if (found.size() != 1) {
        return found.size() + " certificates of a signer";
      }
      JcaSimpleSignerInfoVerifierBuilder builder =
          new JcaSimpleSignerInfoVerifierBuilder().setProvider(PROVIDER);
      if (!signer.verify(builder.build(found.iterator().next()))) {
        return "wrong signature";
      }
    }
    return "good";
  }

  /** Encrypts content by key transport, or by key agreement with a key pair of the other's kind. */
  private static String encrypt(String made, String content, String certificate, String sender)
      throws Exception {
    CMSEnvelopedDataGenerator generator = new CMSEnvelopedDataGenerator();
    X509Certificate recipient = javaCertificate(certificate);
    if (sender.isEmpty()) {
      generator.addRecipientInfoGenerator(
          new JceKeyTransRecipientInfoGenerator(recipient).setProvider(PROVIDER));
    } else {
      generator.addRecipientInfoGenerator(agreement(recipient, sender));
    }
    CMSEnvelopedData data =
        generator.generate(
            new CMSProcessableByteArray(read(content)),
            new JceCMSContentEncryptorBuilder(CMSAlgorithm.GOST28147_GCFB)
                .setProvider(PROVIDER)
                .build());
    return write(made, data.getEncoded());
  }

  private static JceKeyAgreeRecipientInfoGenerator agreement(
      X509Certificate recipient, String sender) throws Exception {
    ASN1ObjectIdentifier algorithm =
        SubjectPublicKeyInfo.getInstance(recipient.getPublicKey().getEncoded())
            .getAlgorithm()
            .getAlgorithm();
    ASN1ObjectIdentifier agreement =
        algorithm.equals(CryptoProObjectIdentifiers.gostR3410_2001)
            ? CryptoProObjectIdentifiers.gostR3410_2001_CryptoPro_ESDH
            : algorithm.equals(RosstandartObjectIdentifiers.id_tc26_gost_3410_12_256)
                ? RosstandartObjectIdentifiers.id_tc26_agreement_gost_3410_12_256
                : RosstandartObjectIdentifiers.id_tc26_agreement_gost_3410_12_512;
    return new JceKeyAgreeRecipientInfoGenerator(
            agreement,
            key(sender + ".key"),
            javaCertificate(sender + ".pem").getPublicKey(),
            CryptoProObjectIdentifiers.id_Gost28147_89_CryptoPro_KeyWrap)
        .setUserKeyingMaterial(SecureRandom.getSeed(8))
        .addRecipient(recipient)
        .setProvider(PROVIDER);
  }

  /** Signs content with signed attributes; the certificate goes into the message. */
  private static String sign(
      String made, String content, String key, String certificate, String algorithm)
      throws Exception {
    X509CertificateHolder holder = certificate(certificate);
    CMSSignedDataGenerator generator = new CMSSignedDataGenerator();
    generator.addSignerInfoGenerator(
        new JcaSimpleSignerInfoGeneratorBuilder()
            .setProvider(PROVIDER)
            .build(algorithm, key(key), holder));
    generator.addCertificate(holder);
    CMSSignedData data = generator.generate(new CMSProcessableByteArray(read(content)), true);
    return write(made, data.getEncoded());
  }

  private static byte[] read(String file) throws Exception {
    return Files.readAllBytes(Path.of(file));
  }

  private static String write(String file, byte[] octets) throws Exception {
    Files.write(Path.of(file), octets);
    return "good";
  }

  private static Object pem(String file) throws Exception {
    try (PEMParser parser = new PEMParser(Files.newBufferedReader(Path.of(file)))) {
      return parser.readObject();
    }
  }

  private static X509CertificateHolder certificate(String file) throws Exception {
    return (X509CertificateHolder) pem(file);
  }

  private static X509Certificate javaCertificate(String file) throws Exception {
    return new JcaX509CertificateConverter()
        .setProvider(PROVIDER)
        .getCertificate(certificate(file));
  }

  /** The engine writes a GOST key's octets bare; Bouncy Castle wants an OCTET STRING around them. */
  private static PrivateKey key(String file) throws Exception {
    PrivateKeyInfo info = (PrivateKeyInfo) pem(file);
    byte[] octets = info.getPrivateKey().getOctets();
    if (octets.length == 32) {
      info = new PrivateKeyInfo(info.getPrivateKeyAlgorithm(), new DEROctetString(octets));
    }
    return new JcaPEMKeyConverter().setProvider(PROVIDER).getPrivateKey(info);
  }
}
